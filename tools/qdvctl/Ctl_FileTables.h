#pragma once

#include "qdvctl/Ctl_Node.h"

#include <string>
#include <vector>

/// File system objects, the elements "FSO" of an agent, as tables for a person. Pure functions; every line
/// ends with a line feed, and no name commands the terminal.

/// Whether the agent has found the object.
bool Ctl_IsThere(const Ctl_Node& object);

/// A directory's members as ls(1) lists them, or a file by itself: kind, owner, group, size, time of the last
/// change in UTC, name.
std::string Ctl_ListFiles(const std::vector<Ctl_Node>& results);

/// What whole trees hold: a row for each, and one for all if there are several.
std::string Ctl_ListTotals(const std::vector<Ctl_Node>& trees);

/// What a search came to, a row for each volume, and one for all if there are several. `summary` is what the
/// agent reports of it: the volumes' counters, and what could not be looked at.
std::string Ctl_ListVolumes(const std::vector<Ctl_Node>& summary);

/// The names of what could not be looked at, in a summary; bytes of any kind.
std::vector<std::string> Ctl_FailedItems(const std::vector<Ctl_Node>& summary);

/// One hit, and the heading of them all, in columns that stay where they are however many hits come.
std::string Ctl_ListHit(const Ctl_Node& hit);
std::string Ctl_HitHeading();
