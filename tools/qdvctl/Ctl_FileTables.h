#pragma once

#include "qdvctl/Ctl_Node.h"

#include <cstdint>
#include <string>
#include <vector>

/// File system objects, the elements "FSO" of an agent, as tables for a person. Pure functions; every line
/// ends with a line feed, and no name commands the terminal.

/// A directory's members as ls(1) lists them, or a file by itself: kind, owner, group, size, time of the last
/// change in UTC, name.
std::string Ctl_ListFiles(const std::vector<Ctl_Node>& results);

/// What whole trees hold: a row for each, and one for all if there are several.
std::string Ctl_ListTotals(const std::vector<Ctl_Node>& trees);

/// "1.5 GiB"; exact below a KiB.
std::string Ctl_SizeText(std::uint64_t bytes);
