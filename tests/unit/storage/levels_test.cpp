#include "model/Audit_XML.h"
#include "storage/Storage_TestLevels.h"

#include <gtest/gtest.h>

namespace {

/// What must hold for each level alike.
template <typename Collection>
void checkLevel(std::unique_ptr<Collection> collection, const char* element, const char* memberElement,
                System_Object::StorageType type) {
    SCOPED_TRACE(element);
    ASSERT_NE(nullptr, collection);
    for (const char* name : {"b", "a"}) {
        auto member = Collection::Shape::allocate();
        ASSERT_NE(nullptr, member);
        EXPECT_EQ(type, member->getStorageType());
        EXPECT_STREQ(memberElement, Storage_TableRow(Storage_Type_Strings, type));
        member->setName(name);
        member->setTotalBytes(7);
        ASSERT_TRUE(collection->insert(std::move(member)));
    }
    const std::string form = formOf(*collection);
    EXPECT_TRUE(form.starts_with("<Root><" + std::string(element) + "><" + memberElement + " ")) << form;
    const Xerces_DocumentPtr document = Xerces_Parse(form, "form");
    ASSERT_NE(nullptr, document);
    EXPECT_EQ(2u, Xerces_Descendants(*Xerces_Root(*document), memberElement).size());

    ASSERT_TRUE(collection->parse(Xerces_FirstDescendant(*Xerces_Root(*document), element)));
    EXPECT_EQ(form, formOf(*collection));
    const auto& first = collection->getMap().begin()->second;
    auto copy = Collection::Shape::allocate();
    *copy = *first;
    EXPECT_EQ(formOf(*first), formOf(*copy));
    EXPECT_TRUE(collection->cleanupAfterAudit());
    EXPECT_TRUE(collection->getMap().empty());
}

TEST(Levels, HaveTheirShape) {
    const TestLevels levels;
    checkLevel(Storage_FactoryAllocatePhysicalDrives(), "PhysicalDrives", "PhysicalDrive",
               System_Object::PhysicalDrive);
    checkLevel(Storage_FactoryAllocateDriveExtents(), "DriveExtents", "DriveExtent",
               System_Object::DriveExtent);
    checkLevel(Storage_FactoryAllocateExtentPools(), "ExtentPools", "ExtentPool", System_Object::ExtentPool);
    checkLevel(Storage_FactoryAllocatePlexes(), "Plexes", "Plex", System_Object::Plex);
    checkLevel(Storage_FactoryAllocateStorageVolumes(), "StorageVolumes", "StorageVolume",
               System_Object::StorageVolume);
}

TEST(Levels, AreDeallocatedByTheirNames) {
    const TestLevels levels;
    const auto drives = Storage_FactoryAllocatePhysicalDrives();
    drives->insert(Storage_FactoryAllocatePhysicalDrive());
    drives->deallocateDriveMap();
    EXPECT_TRUE(drives->getMap().empty());
    const auto extents = Storage_FactoryAllocateDriveExtents();
    extents->insert(Storage_FactoryAllocateDriveExtent());
    extents->deallocateDriveExtentMap();
    EXPECT_TRUE(extents->getMap().empty());
    const auto pools = Storage_FactoryAllocateExtentPools();
    pools->insert(Storage_FactoryAllocateExtentPool());
    pools->deallocateExtentPoolMap();
    EXPECT_TRUE(pools->getMap().empty());
    const auto plexes = Storage_FactoryAllocatePlexes();
    plexes->insert(Storage_FactoryAllocatePlex());
    plexes->deallocatePlexMap();
    EXPECT_TRUE(plexes->getMap().empty());
    const auto volumes = Storage_FactoryAllocateStorageVolumes();
    volumes->insert(Storage_FactoryAllocateStorageVolume());
    volumes->deallocateVolumeMap();
    EXPECT_TRUE(volumes->getMap().empty());
}

TEST(Levels, PlaceholdersStartAsWhatTheyStandFor) {
    const TestLevels levels;
    const auto drive = Storage_FactoryAllocatePhysicalDrive();
    drive->setName("/dev/sda");
    drive->setTotalBytes(36400000000);
    drive->setVirtualMechanism(VirtualMechanism_LogicalVolumeManager);
    const auto extent = Storage_FactoryAllocateDriveExtent();
    *extent = *drive;
    EXPECT_EQ(36400000000u, extent->getTotalBytes());
    EXPECT_EQ(VirtualMechanism_LogicalVolumeManager, extent->getVirtualMechanism());
    const auto plex = Storage_FactoryAllocatePlex();
    *plex = static_cast<const System_Object&>(*extent);
    EXPECT_EQ("/dev/sda", plex->getName());
    EXPECT_EQ(Physicality_Logical, Storage_FactoryAllocateStorageVolume()->getPhysicality());
}

/// A level without a class is refused, not made up; reading its form back needs the class too.
TEST(Levels, WithoutAClassHaveNoObjects) {
    const TestLevels levels;
    const auto plexes = Storage_FactoryAllocatePlexes();
    gStorageLevels = {};
    EXPECT_EQ(nullptr, Storage_FactoryAllocatePlexes());
    EXPECT_EQ(nullptr, Storage_FactoryAllocatePlex());
    EXPECT_EQ(nullptr, Storage_FactoryAllocateStorageAssociations());
    EXPECT_FALSE(parseInto(*plexes, "<Plexes><Plex name='a'/></Plexes>"));
    EXPECT_TRUE(parseInto(*plexes, "<Plexes/>"));
}

} // namespace
