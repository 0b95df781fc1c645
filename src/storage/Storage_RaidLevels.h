#pragma once

#include "model/System_Object.h"

#include <string_view>

/// Whether a member shows what its set is built like, or has its own composition besides.
enum class Storage_RaidShows { Flags, FlagsAndComposition };

/// Marks what an object is a part of. `level` is a text of raidtab(5) ("5") or of mdadm(8) ("raid5"); any
/// other changes nothing.
/// Levels 6 and 10 are known since kernels of series 3.
void Storage_ShowRaidLevel(System_Object& object, std::string_view level, Storage_RaidShows shows,
                           bool isLaterKernel);

/// The same for a segment of a logical volume, as lvs(8) names its type. What is not known is "Unknown".
/// Since series 3 a group may be built like software RAID.
void Storage_ShowSegmentType(System_Object& object, std::string_view type, bool isLaterKernel);
