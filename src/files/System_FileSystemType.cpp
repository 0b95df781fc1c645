#include "files/System_FileSystemType.h"

#include <algorithm>
#include <iterator>
#include <strings.h>

namespace {

struct TypeName {
    std::uint32_t type;
    const char* name;
};

constexpr TypeName typeNames[] = {
    {0x1373, "devfs"}, {0xEF53, "ext2"},  {0xF995E849, "hpfs"},     {0x9660, "isofs"}, {0x72B6, "jfs"},
    {0x6969, "nfs3"},  {0x9FA2, "usbfs"}, {0x52654973, "reiserfs"}, {0x4D44, "vfat"},
};

constexpr const char* supported_FSType_strings[] = {"ext2", "ext3", "reiserfs", "jfs",
                                                    "ntfs", "xfs",  "ufs",      "vfat"};

} // namespace

const char* System_FileSystemTypeName(std::uint32_t type) {
    const auto row = std::find_if(std::begin(typeNames), std::end(typeNames),
                                  [type](const TypeName& each) { return each.type == type; });
    return row != std::end(typeNames) ? row->name : "unknown";
}

bool System_VerifyFSTypeSupport(const char* type) {
    return type != nullptr &&
           std::any_of(std::begin(supported_FSType_strings), std::end(supported_FSType_strings),
                       [type](const char* each) { return strcasecmp(each, type) == 0; });
}
