#pragma once

#include "model/System_Object.h"
#include "qdvctl/Ctl_Node.h"

#include <optional>
#include <string>
#include <vector>

/// The storage stack as a tree for a terminal, from volumes down to drives: each object stands once below
/// each object that lies on it, indented, with its level, size and composition. Placeholders are left out and
/// what lies below them moves up; a link that spans levels is not shown where a chain of shorter ones says
/// the same.
///
/// `results` are the collections of the levels and the links. The tree begins with the objects of the level
/// `top`, a member's type, or else with all objects that nothing lies on, and ends with what could not be
/// audited. Pure; the results may hold any bytes.
std::string Ctl_StorageTree(const std::vector<Ctl_Node>& results,
                            std::optional<System_Object::StorageType> top = std::nullopt);
