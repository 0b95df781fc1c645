#include "host/Host_RecordedHost.h"
#include "storage/System_VerifyUnixDiskDeviceFormat.h"
#include "storage/System_VxVMInfo.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr const char* twoGroups =
    "Disk group:  rootdg\r\n\r\n"
    "DM NAME DEVICE TYPE\r\nv  NAME USETYPE\r\npl NAME VOLUME\r\n"
    "SD NAME PLEX DEVICE\r\n \t\r\n"
    "dm d1 c1t0d0s2 sliced\ndm d2 c1t1d0s2 sliced extra words\n"
    "v  home fsgen\nv  both fsgen\npl home-01 home\npl home-02 home\npl both-01 both\n"
    "sd d1-01 home-01 c1t0d0\nsd d1-02 home-02 c1t0d0\nsd d2-01 both-01 c1t1d0\n\n\n"
    "Disk group: other\n\ndm d3 C1T0D0s7 x\nv both fsgen";

TEST(VxVM, SlicesOfDisks) {
    for (const char* good : {"c1t0d0s2", "C10t20D30s0"})
        EXPECT_TRUE(System_VerifyUnixDiskDeviceFormat(good)) << good;
    for (const char* bad : {"", "c1d0s2", "c1t0d0", "c1t0d0s", "c1t0d0s2 ", "xc1t0d0s2", "ct0d0s222"})
        EXPECT_FALSE(System_VerifyUnixDiskDeviceFormat(bad)) << bad;
}

TEST(VxVM, ReadsGroupsTypesAndRows) {
    System_VxVMParser parser;
    ASSERT_TRUE(parser.parse(twoGroups));
    std::vector<std::string> groups, types, columns, devices, holders;
    parser.getDiskGroups(&groups);
    parser.getTypes(&types);
    EXPECT_THAT(groups, ElementsAre("other", "rootdg"));
    EXPECT_THAT(types, ElementsAre("DM", "PL", "SD", "V"));
    EXPECT_TRUE(parser.getColumnsLookup(&columns, "SD"));
    EXPECT_THAT(columns, ElementsAre("NAME", "PLEX", "DEVICE"));
    EXPECT_TRUE(parser.getValues(&devices, "DM", "DEVICE", "rootdg"));
    EXPECT_THAT(devices, ElementsAre("c1t0d0s2", "c1t1d0s2"));
    EXPECT_TRUE(parser.getDiskGroupsLookup(&holders, "V", "NAME", "both"));
    EXPECT_THAT(holders, ElementsAre("other", "rootdg"));
    EXPECT_FALSE(parser.getValues(&devices, "DM", "SIZE", nullptr));
    EXPECT_FALSE(parser.getValues(&devices, "XX", "NAME", nullptr));

    for (const char* bad : {"", "\nDisk group: a\n", "no head\n", "head:  \n", "g: a\n\nDM NAME\n\nxx 1\n",
                            "g: a\n\nDM\n\ndm 1\n", "g: a\n\nDM NAME\n\ndm 1\n\ndm 2\n"}) {
        EXPECT_FALSE(parser.parse(bad)) << bad;
        groups.clear();
        parser.getDiskGroups(&groups);
        EXPECT_THAT(groups, IsEmpty());
    }
}

/// What the audit and both questions say of a host with these answers.
struct Told {
    bool isAudited = false, hasDrives = false, hasDevices = false;
    std::vector<std::string> drives, devices;
};

Told tell(const std::string& which, const std::string& output, const char* drive) {
    Host_Record record;
    record.answers.emplace(Host_Words{"command", "which vxprint"}, Host_Words{which});
    record.answers.emplace(Host_Words{"command", "vxprint -t"}, Host_Words{output});
    Host_RecordedHost host(record);
    System_VxVMInfo info;
    info.setHost(host);
    Told told;
    told.isAudited = info.audit();
    told.hasDrives = info.getDrives(&told.drives);
    told.hasDevices = info.getDevicesOnDrive(drive, &told.devices);
    return told;
}

TEST(VxVM, DrivesAndDevices) {
    for (const char* missing : {"", "\n", "which: no vxprint in (/bin)\n", "vxprint not found\n"}) {
        const Told none = tell(missing, twoGroups, "c1t0d0");
        EXPECT_TRUE(none.isAudited && none.hasDrives && none.hasDevices) << missing;
        EXPECT_TRUE(none.drives.empty() && none.devices.empty()) << missing;
    }
    Told told = tell("/usr/sbin/vxprint\n", twoGroups, "c1t0d0");
    EXPECT_TRUE(told.isAudited && told.hasDrives && told.hasDevices);
    EXPECT_THAT(told.drives, ElementsAre("C1T0D0", "c1t0d0", "c1t1d0"));
    EXPECT_THAT(told.devices, ElementsAre("/dev/vx/dsk/rootdg/home")); // once, with two plexes
    EXPECT_THAT(tell("/bin/vxprint", twoGroups, "c1t1d0").devices, ElementsAre("/dev/vx/dsk/both"));

    told = tell("/bin/vxprint", "g: a\n\nDM NAME DEVICE\nSD NAME PLEX DEVICE\n\ndm d1 sda\nsd s1\n", "sda");
    EXPECT_TRUE(told.isAudited);
    EXPECT_FALSE(told.hasDrives || told.hasDevices);
    EXPECT_FALSE(tell("/bin/vxprint", "Connection refused\n", "").isAudited);
}

} // namespace
