#pragma once

#include "qdvctl/Ctl_Node.h"

#include <string>
#include <utility>
#include <vector>

/// Documents shown to a person or to a program. Pure functions; texts may hold any bytes.

/// Elements one below the other, indented by `indent` columns: neighbours of one name that hold nothing but
/// attributes and text become a table with a row for each, others a block with their attributes and, further
/// in, their children. Fit for a terminal; every line ends with a line feed.
std::string Ctl_RenderText(const std::vector<Ctl_Node>& nodes, unsigned indent = 0);

/// A line for each row, its columns as wide as their widest cell. The cells are printable.
std::string Ctl_RenderRows(const std::vector<std::vector<std::string>>& rows);

/// A JSON object on one line: the members as strings, and "elements", an array of objects with "element" (the
/// name) and, only where there is something, "attributes", "text" and "elements".
std::string Ctl_RenderJson(const std::vector<std::pair<std::string, std::string>>& members,
                           const std::vector<Ctl_Node>& nodes);

/// One element as such an object.
std::string Ctl_RenderJson(const Ctl_Node& element);
