#include "storage/HBA_Library.h"
#include "storage/System_FCPTargetMap.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
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

} // namespace
