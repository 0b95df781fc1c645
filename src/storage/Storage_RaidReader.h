#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// What is said of software RAID: /etc/raidtab and `lsraid` of kernels 2.4, and `mdadm`. Pure functions; any
/// text is welcome. Levels are texts as the source has them: "5" in a raidtab, "raid5" of mdadm.

/// A section of raidtab(5).
struct Storage_RaidtabArray {
    /// Empty for lines in front of the first array.
    std::string device;
    std::optional<std::string> level;
    /// Drives and partitions.
    std::vector<std::string> members;
};
using Storage_Raidtab = std::vector<Storage_RaidtabArray>;
Storage_Raidtab Storage_ReadRaidtab(std::string_view text);

/// `lsraid -A -d` of a member.
struct Storage_LsraidState {
    bool isOffline = false;
};
Storage_LsraidState Storage_ReadLsraid(std::string_view text);

/// `mdadm -Q` of a device.
struct Storage_MdadmQuery {
    bool isMember = false;
    /// Its own line says that it does no work in the array.
    bool isInactive = false;
    /// The array that it is a member of.
    std::optional<std::string> array;
};
Storage_MdadmQuery Storage_ReadMdadmQuery(std::string_view text);

/// `mdadm --examine` of a member.
struct Storage_MdadmExamine {
    bool isInactive = false;
    std::optional<std::string> level;
};
Storage_MdadmExamine Storage_ReadMdadmExamine(std::string_view text);

/// `mdadm -D` of an array.
struct Storage_MdadmDetail {
    std::optional<std::string> level;
    /// Spares count, slots that failed and hold nothing do not.
    std::vector<std::string> members;
};
Storage_MdadmDetail Storage_ReadMdadmDetail(std::string_view text, std::string_view array);
