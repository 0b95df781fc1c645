#include "host/Host_RecordedHost.h"
#include "storage/HBA_Library.h"
#include "storage/Storage_Container.h"
#include "storage/Storage_PhysicalDrive.h"
#include "storage/System_FCPTargetMap.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Pair;

constexpr std::uint32_t allOnes = 0xFFFFFFFF;
constexpr HBA_Status moreData = 7;

HBA_FcpScsiEntry entry(std::uint32_t bus, std::uint32_t target, std::uint32_t lun, const std::string& device,
                       int sanLun) {
    HBA_FcpScsiEntry result = {};
    std::copy(device.begin(), device.end(), result.scsiId.osDeviceName.begin());
    result.scsiId.bus = bus;
    result.scsiId.target = target;
    result.scsiId.lun = lun;
    result.fcpId.portWWN = {0x50, 0x06, 0x01, 0x60, 0x90, 0x20, 0x1E, 0x7A};
    result.fcpId.lun = System_FCPTargetMap::IntToLun64(sanLun);
    return result;
}

class SAN : public ::testing::Test {
protected:
    SAN() { hbaPlay = HBA_Play(); }
};

TEST_F(SAN, UnusableLibrariesAreToldOnce) {
    const std::vector<HBA_Adapter> one(1);
    const struct {
        HBA_Play play;
        const char* status;
    } rows[] = {
        {{HBA_StatusError, 2, one}, "status: -1\n"},
        {{HBA_StatusOk, 3, one}, "status: -2\n"},
        {{HBA_StatusOk, 1, {}}, "status: -3\n"},
    };
    for (const auto& row : rows) {
        hbaPlay = row.play;
        ::testing::internal::CaptureStderr();
        System_FCPTargetMap map;
        EXPECT_EQ(::testing::internal::GetCapturedStderr(),
                  std::string("warning: unable to load the HBAAPI library and/or find Fibre Channel "
                              "adapters. ") +
                      row.status);
        EXPECT_FALSE(map.hasFoundAdapters());
        EXPECT_FALSE(map.audit());
    }
}

TEST_F(SAN, KeysOfEachEntry) {
    std::string full(HBA_NameSize, 'x'); // no zero byte behind it
    hbaPlay.adapters = {
        {.entries = {entry(0, 1, 5, "/dev/sdb", 5), entry(0, 1, 5, "", 9), entry(allOnes, 0, 0, "a", 1),
                     entry(0, allOnes, 0, "b", 1), entry(0, 0, allOnes, "c", 1), entry(1, 0, 0, "/dev/", 0)}},
        {.portDevice = R"(\\.\Scsi2:)", .entries = {entry(0, 1, 5, "lun", 255), entry(3, 0, 0, full, 4)}},
    };
    const std::string port = "50:06:01:60:90:20:1E:7A_";
    {
        System_FCPTargetMap map;
        ASSERT_TRUE(map.audit());
        EXPECT_THAT(
            map.getMapReference(),
            ElementsAre(Pair("/dev/", port + "0"), Pair("/dev/sdb", port + "5"), Pair("c0t1d5", port + "5"),
                        Pair("c1t0d0", port + "0"), Pair("lun", port + "255"), Pair("p2c0t1d5", port + "255"),
                        Pair("p2c3t0d0", port + "4"), Pair("sdb", port + "5"), Pair(full, port + "4")));
        hbaPlay.adapters.resize(1);
        hbaPlay.adapters[0].entries = {entry(0, 0, 0, "", 1)};
        ASSERT_TRUE(map.audit());
        EXPECT_THAT(map.getMapReference(), ElementsAre(Pair("c0t0d0", port + "1")));
    }
    EXPECT_EQ(hbaPlay.openHandles, 0);
    EXPECT_EQ(hbaPlay.loads, 0);
}

TEST_F(SAN, AFaultyAdapterLeavesTheOthers) {
    const HBA_Adapter good = {.entries = {entry(0, 0, 0, "", 1)}};
    const std::vector<HBA_FcpScsiEntry> many(1024, entry(7, 7, 7, "", 7));
    const HBA_Adapter faulty[] = {{.opens = false},
                                  {.entries = many, .mappingStatus = moreData, .claimedEntries = 1500}};
    for (const HBA_Adapter& bad : faulty) {
        hbaPlay.adapters = {bad, good};
        System_FCPTargetMap map;
        EXPECT_FALSE(map.audit());
        EXPECT_THAT(map.getMapReference(), ElementsAre(Pair("c0t0d0", HasSubstr("_1"))));
    }
    // More than there is room for, and no word of a failure.
    hbaPlay.adapters = {{.entries = many, .claimedEntries = allOnes}};
    System_FCPTargetMap map;
    EXPECT_TRUE(map.audit());
    EXPECT_EQ(map.getMapReference().size(), 1U);
    EXPECT_EQ(hbaPlay.openHandles, 0);
}

/// The drives with their addresses in the network.
std::vector<std::pair<std::string, std::string>> auditDrives() {
    Host_RecordedHost host(Host_ParseRecord(R"(
command "uname -r" = "2.6.9\n"
folder /dev = hda sdb
folder /dev/cciss = c0d0
device /dev/hda scsi ! EINVAL
device /dev/hda end = 4096
device /dev/sdb scsi = 3 0 1 5
device /dev/sdb inquiry = ""
device /dev/sdb end = 4096
device /dev/cciss/c0d0 end = 4096
command "cat /proc/ide/hda/media" = "disk\n"
command "cat /proc/scsi/scsi" = "Host: scsi3 Channel: 00 Id: 01 Lun: 05\n  Vendor: A Model: B\n  Type: Direct-Access\n"
command "fdisk -l  /dev/hda" = ""
command "fdisk -l  /dev/sdb" = ""
command "fdisk -l  /dev/cciss/c0d0" = ""
command "mdadm -Q  /dev/hda" = ""
command "mdadm -Q  /dev/sdb" = ""
command "mdadm -Q  /dev/cciss/c0d0" = ""
)"));
    gStorageContainer = std::make_unique<Storage_Container>();
    const auto drives = Storage_FactoryAllocatePhysicalDrives();
    drives->setHost(host);
    EXPECT_TRUE(drives->audit());
    std::vector<std::pair<std::string, std::string>> found;
    for (const auto& [name, drive] : drives->getMap()) {
        EXPECT_EQ(drive->getDriveType() == DriveType_SAN, !drive->getProviderAddress().empty());
        found.emplace_back(name, drive->getProviderAddress());
    }
    gStorageContainer.reset();
    return found;
}

TEST_F(SAN, DrivesAreFoundByAddressOrNode) {
    hbaPlay.adapters = {{.entries = {entry(0, 1, 5, "", 2), entry(9, 9, 9, "/dev/cciss/c0d0", 3)}}};
    EXPECT_THAT(auditDrives(), ElementsAre(Pair("/dev/cciss/c0d0", HasSubstr("_3")),
                                           Pair("/dev/hda", IsEmpty()), Pair("/dev/sdb", HasSubstr("_2"))));
    hbaPlay.adapters.push_back({.opens = false});
    EXPECT_THAT(auditDrives(), ElementsAre(Pair("/dev/cciss/c0d0", IsEmpty()), Pair("/dev/hda", IsEmpty()),
                                           Pair("/dev/sdb", IsEmpty())));
}

} // namespace
