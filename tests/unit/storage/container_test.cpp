#include "storage/Storage_Container.h"
#include "storage/Storage_TestLevels.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace {

using Names = std::vector<std::string>;

void fill(Storage_Container& container) {
    container.setStorageAssociations(Storage_FactoryAllocateStorageAssociations());
    container.setStorageVolumes(Storage_FactoryAllocateStorageVolumes());
    container.setPlexes(Storage_FactoryAllocatePlexes());
    container.setExtentPools(Storage_FactoryAllocateExtentPools());
    container.setDriveExtents(Storage_FactoryAllocateDriveExtents());
    container.setPhysicalDrives(Storage_FactoryAllocatePhysicalDrives());
}

class Container : public testing::Test {
protected:
    void SetUp() override { deletedCollections.clear(); }
    const Names all{"PhysicalDrives", "DriveExtents",   "ExtentPools",
                    "Plexes",         "StorageVolumes", "StorageAssociations"};
    TestLevels levels;
};

TEST_F(Container, ClearsFromTheDrivesUp) {
    Storage_Container container;
    container.clear();
    fill(container);
    EXPECT_NE(nullptr, container.getPhysicalDrives());
    EXPECT_NE(nullptr, container.getDriveExtents());
    EXPECT_NE(nullptr, container.getExtentPools());
    EXPECT_NE(nullptr, container.getPlexes());
    EXPECT_NE(nullptr, container.getStorageVolumes());
    EXPECT_NE(nullptr, container.getStorageAssociations());
    container.clear();
    EXPECT_EQ(all, deletedCollections);
    EXPECT_EQ(nullptr, container.getPhysicalDrives());
    EXPECT_EQ(nullptr, container.getDriveExtents());
    EXPECT_EQ(nullptr, container.getExtentPools());
    EXPECT_EQ(nullptr, container.getPlexes());
    EXPECT_EQ(nullptr, container.getStorageVolumes());
    EXPECT_EQ(nullptr, container.getStorageAssociations());
    container.clear();
    EXPECT_EQ(all.size(), deletedCollections.size());
}

TEST_F(Container, ClearsWhenItGoesEvenLocked) {
    {
        Storage_Container container;
        fill(container);
        ASSERT_TRUE(container.lock());
    }
    EXPECT_EQ(all, deletedCollections);
}

TEST_F(Container, StoresWhatTheFactoryGivesEvenNothing) {
    gStorageLevels.plexes = nullptr;
    Storage_Container container;
    container.setPlexes(Storage_FactoryAllocatePlexes());
    EXPECT_EQ(nullptr, container.getPlexes());
}

TEST_F(Container, MakesRequestsTakeTurns) {
    Storage_Container container;
    container.unlock();
    ASSERT_TRUE(container.lock());
    std::atomic<bool> second = false;
    std::thread request([&] {
        EXPECT_TRUE(container.lock());
        second = true;
        EXPECT_EQ(nullptr, container.getPlexes());
        container.unlock();
    });
    fill(container);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_FALSE(second);
    container.clear();
    container.unlock();
    request.join();
    EXPECT_TRUE(second);
}

} // namespace
