#include "files/System_FileSystemType.h"
#include "files/System_MountPointMapLinux.h"
#include "host/Host_RecordedHost.h"

#include <gtest/gtest.h>

#include <string>

namespace {

const std::string record = R"index(
command mount = "/dev/sda1 on / type ext3 (rw)\x0d\nproc on /proc type proc (rw)\n/dev/md0 on /raid type ext3 (rw)\n/dev/vg/lv on /a b type xfs (rw)\n/dev/sda1 on / type ext4 (ro)\n-x on /opt type fuse (rw)\nno mount at all\n/dev/sdz on /late type ext2 (rw)"
file /etc/raidtab = "raiddev /dev/md1\n\traid-level\t0\n\tdevice /dev/sdx1\nraiddev\t/dev/md0\n\traid-level\t5\n\tnr-raid-disks 2\n\tdevice /dev/sda2\n\tdevice /dev/sdb2\nraiddev /dev/md2\n\tdevice /dev/sdc1\n"
command "lvdisplay -v /dev/vg/lv" = "    Using logical volume(s)\n  LV Name x\n  PV Name  PE\n  /dev/sdb1  12\n  /dev/sdc1 9\n\n  no more\n"
command "lvdisplay -v /dev/sda1" = "lvdisplay -- invalid\n"
)index";

TEST(MountPoints, AreReadFromMountAndAskedForFactsOnce) {
    Host_RecordedHost host(Host_ParseRecord(record));
    System_MountPointMapLinux map;
    map.setHost(host);
    ASSERT_TRUE(map.audit());
    auto& points = *map.getMountPointVector();
    ASSERT_EQ(points.size(), 6U);
    EXPECT_EQ(points[1]->device + points[1]->mountPoint + points[1]->fileSystemType, "proc/procproc");
    EXPECT_EQ(points[3]->mountPoint, "/a");
    EXPECT_EQ(map.getMountPointMapMP()->at("/")->fileSystemType, "ext3");
    EXPECT_EQ(map.getMountPointMapDevice()->at("/dev/sda1"), points[0].get());

    EXPECT_TRUE(points[2]->isRaid());
    EXPECT_EQ(points[2]->raidLevel(), 5);
    EXPECT_EQ(points[2]->devices(), (std::vector<std::string>{"/dev/sda2", "/dev/sdb2"}));
    EXPECT_FALSE(points[0]->isRaid() || points[0]->evaluateLVM() || points[0]->checkLVMDevices("/dev"));
    EXPECT_TRUE(points[3]->checkLVMDevices("/dev/sdc"));
    EXPECT_FALSE(points[3]->checkLVMDevices("/dev/sdd"));
    EXPECT_FALSE(points[5]->isLVM()) << "no name may become an option";
    EXPECT_TRUE(map.cleanupAfterAudit());
    EXPECT_TRUE(map.getMountPointMapMP()->empty());
}

TEST(MountPoints, OfUnsupportedTypesAreTold) {
    EXPECT_TRUE(System_VerifyFSTypeSupport("EXT3") && System_VerifyFSTypeSupport("vfat"));
    EXPECT_FALSE(System_VerifyFSTypeSupport("ext4") || System_VerifyFSTypeSupport(nullptr));
    EXPECT_STREQ(System_FileSystemTypeName(0xEF53), "ext2");
    EXPECT_STREQ(System_FileSystemTypeName(0x01021994), "unknown");
}

} // namespace
