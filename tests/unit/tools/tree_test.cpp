// The storage stack as a person gets to see it.

#include "qdvctl/Ctl_StorageTree.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

Ctl_Node collection(const std::string& name, const std::string& member,
                    const std::vector<std::vector<std::pair<std::string, std::string>>>& members) {
    Ctl_Node node;
    node.name = name;
    for (const auto& attributes : members)
        node.add(member, attributes);
    return node;
}

struct Link {
    const char* firstType;
    const char* first;
    const char* secondType;
    const char* second;
};

Ctl_Node associations(const std::vector<Link>& links) {
    Ctl_Node node;
    node.name = "StorageAssociations";
    Ctl_Node& kind = node.add("Links");
    for (const Link& link : links) {
        Ctl_Node& item = kind.add("Link");
        item.add(link.firstType, {{"name", link.first}});
        item.add(link.secondType, {{"name", link.second}});
    }
    return node;
}

/// A plain partition with all its placeholders; a volume group over an array of two partitions, one disk in
/// common; what nothing lies on; names that steer a terminal.
const std::vector<Ctl_Node> results = {
    collection("PhysicalDrives", "PhysicalDrive",
               {{{"name", "/dev/sda"}, {"totalBytes", "1073741824"}},
                {{"name", "/dev/sdb"}},
                {{"name", "/dev/sdd"}, {"composition", "Unknown"}}}),
    collection("DriveExtents", "DriveExtent",
               {{{"name", "/dev/sda1"}, {"totalBytes", "512"}},
                {{"name", "/dev/sda2"}},
                {{"name", "odd"}, {"existence", "false"}}}),
    collection("ExtentPools", "ExtentPool", {{{"name", "/dev/md0"}, {"composition", "RAID1"}}}),
    collection("Plexes", "Plex", {{{"name", "vg"}}, {{"name", "NULLPlex_/dev/sda1"}}}),
    collection("StorageVolumes", "StorageVolume",
               {{{"name", "/"}, {"devicePath", "/dev/sda1"}},
                {{"name", "/\x1B"}, {"devicePath", "h:/x"}},
                {{"name", "/home"}}}),
    associations({{"StorageVolume", "/", "PhysicalDrive", "/dev/sda"},
                  {"StorageVolume", "/", "DriveExtent", "/dev/sda1"},
                  {"StorageVolume", "/", "Plex", "NULLPlex_/dev/sda1"},
                  {"ExtentPool", "NULLExtentPool_/dev/sda1", "Plex", "NULLPlex_/dev/sda1"},
                  {"DriveExtent", "/dev/sda1", "ExtentPool", "NULLExtentPool_/dev/sda1"},
                  {"DriveExtent", "/dev/sda1", "PhysicalDrive", "/dev/sda"},
                  {"StorageVolume", "/home", "Plex", "vg"},
                  {"ExtentPool", "/dev/md0", "Plex", "vg"},
                  {"ExtentPool", "/dev/md0", "Plex", "vg"},
                  {"DriveExtent", "/dev/sda2", "ExtentPool", "/dev/md0"},
                  {"DriveExtent", "/dev/sda3", "ExtentPool", "/dev/md0"},
                  {"DriveExtent", "/dev/sda2", "PhysicalDrive", "/dev/sda"},
                  {"DriveExtent", "/dev/sda3", "PhysicalDrive", "/dev/sda"},
                  {"DriveExtent", "/dev/sdb", "ExtentPool", "/dev/md0"},
                  {"DriveExtent", "NULLDriveExtent_/dev/sdb", "ExtentPool", "/dev/md0"},
                  {"DriveExtent", "NULLDriveExtent_/dev/sdb", "PhysicalDrive", "/dev/sdb"},
                  {"Plex", "vg", "Plex", "vg"},
                  {"Plex", "vg", "OS", "Linux"}}),
    collection("AuditFailedItems", "FailedObject", {{{"name", "/dev/sdc"}}}),
};

TEST(StorageTree, EachObjectStandsOnceBelowEachParent) {
    EXPECT_EQ(Ctl_StorageTree(results), "object            level   size     composition  mounted from\n"
                                        "/                 volume                        /dev/sda1\n"
                                        "  /dev/sda1       extent  512 B\n"
                                        "    /dev/sda      drive   1.0 GiB\n"
                                        "/\\x1b             volume                        h:/x\n"
                                        "/home             volume\n"
                                        "  vg              plex\n"
                                        "    /dev/md0      pool             RAID1\n"
                                        "      /dev/sda2   extent\n"
                                        "        /dev/sda  drive   1.0 GiB\n"
                                        "      /dev/sda3   extent\n"
                                        "        /dev/sda  drive   1.0 GiB\n"
                                        "      /dev/sdb    drive\n"
                                        "/dev/sdd          drive\n"
                                        "AuditFailedItems\n"
                                        "  FailedObject\n"
                                        "    name  /dev/sdc\n");
    EXPECT_EQ(Ctl_StorageTree(results, System_Object::PhysicalDrive),
              "object    level  size     composition  mounted from\n"
              "/dev/sda  drive  1.0 GiB\n"
              "/dev/sdb  drive\n"
              "/dev/sdd  drive\n"
              "AuditFailedItems\n"
              "  FailedObject\n"
              "    name  /dev/sdc\n");
}

} // namespace
