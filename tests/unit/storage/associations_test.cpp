#include "model/Audit_XML.h"
#include "storage/Storage_DriveExtent.h"
#include "storage/Storage_Factory.h"
#include "storage/Storage_StorageAssociations.h"

#include <gtest/gtest.h>

namespace {

using Names = std::vector<std::string>;

struct Link {
    const char* first;
    System_Object::StorageType firstType;
    const char* second;
    System_Object::StorageType secondType;
};

class Associations : public testing::Test {
protected:
    void add(std::initializer_list<Link> links) {
        for (const auto& [first, firstType, second, secondType] : links)
            EXPECT_TRUE(list->addAssociation(first, firstType, second, secondType));
    }
    Names associatesOf(const char* name, System_Object::StorageType type) const {
        const auto extent = Storage_FactoryAllocateDriveExtent();
        extent->setName(name);
        Names names;
        list->getAssociates(*extent, type, names);
        return names;
    }
    bool exists(const char* first, const char* second) const {
        return list->doesAssocPairExist(first, System_Object::DriveExtent, second, System_Object::ExtentPool);
    }

    const std::unique_ptr<Storage_StorageAssociations> list = Storage_FactoryAllocateStorageAssociations();
};

TEST_F(Associations, AreFoundFromBothItemsInTheirOrder) {
    add({{"e", System_Object::DriveExtent, "p", System_Object::ExtentPool},
         {"q", System_Object::ExtentPool, "e", System_Object::DriveExtent},
         {"e", System_Object::DriveExtent, "p", System_Object::ExtentPool},
         {"e", System_Object::DriveExtent, "d", System_Object::PhysicalDrive},
         {"p", System_Object::DriveExtent, "x", System_Object::ExtentPool},
         {"e", System_Object::DriveExtent, "e", System_Object::DriveExtent},
         {"f", System_Object::DriveExtent, "e", System_Object::DriveExtent}});
    EXPECT_EQ(associatesOf("e", System_Object::ExtentPool), (Names{"p", "q", "p"}));
    EXPECT_EQ(associatesOf("e", System_Object::PhysicalDrive), Names{"d"});
    EXPECT_EQ(associatesOf("e", System_Object::DriveExtent), (Names{"e", "f"}));
    EXPECT_EQ(associatesOf("e", System_Object::Plex), Names{});
    EXPECT_TRUE(exists("e", "p"));
    EXPECT_FALSE(exists("p", "e"));
    EXPECT_FALSE(exists("e", "q")) << "it has the other order";
    Storage_StorageAssociations::Pairs pairs;
    list->getExtentPool_DriveExtent(pairs);
    ASSERT_EQ(pairs.size(), 4u);
    EXPECT_EQ(pairs[1]->getFirstItem()->getName(), "q");
    EXPECT_TRUE(list->copyInto(*list));
    EXPECT_EQ(associatesOf("e", System_Object::ExtentPool), (Names{"p", "q", "p", "p", "q", "p"}));
}

TEST_F(Associations, AreWrittenByKindAndReadBack) {
    add({{"d", System_Object::PhysicalDrive, "not written", System_Object::Plex},
         {"/mnt", System_Object::StorageVolume, "/dev/sda", System_Object::PhysicalDrive},
         {"g", System_Object::Plex, "/mnt", System_Object::StorageVolume},
         {"/mnt", System_Object::StorageVolume, "g", System_Object::Plex}});
    const std::string form =
        "<StorageAssociations><StorageVolumePlexAssociations>"
        R"(<StorageVolumePlexAssoc><Plex name="g"/><StorageVolume name="/mnt"/></StorageVolumePlexAssoc>)"
        R"(<StorageVolumePlexAssoc><StorageVolume name="/mnt"/><Plex name="g"/></StorageVolumePlexAssoc>)"
        "</StorageVolumePlexAssociations><PlexExtentPoolAssociations/><ExtentPoolDriveExtentAssociations/>"
        "<DriveExtentPhysicalDriveAssociations/><StorageVolumeDriveExtentAssociations/>"
        "<StorageVolumePhysicalDriveAssociations><StorageVolumePhysicalDriveAssoc>"
        R"(<StorageVolume name="/mnt"/><PhysicalDrive name="/dev/sda"/>)"
        "</StorageVolumePhysicalDriveAssoc></StorageVolumePhysicalDriveAssociations></StorageAssociations>";
    EXPECT_EQ(formOf(*list), "<Root>" + form + "</Root>");
    const auto copy = Storage_FactoryAllocateStorageAssociations();
    EXPECT_EQ(formOf(*copy).find(" name="), std::string::npos) << "the kinds without their links";
    ASSERT_TRUE(parseInto(*copy, form));
    EXPECT_EQ(formOf(*copy), "<Root>" + form + "</Root>");

    const std::string group = "<StorageAssociations><StorageVolumePlexAssociations><StorageVolumePlexAssoc>";
    const std::string end = "</StorageVolumePlexAssoc></StorageVolumePlexAssociations></StorageAssociations>";
    for (const char* item : {"", "<Plex name='g'/>", "<Plex/><Plex/>", "<StorageVolume/><Plex/><Plex/>"}) {
        ASSERT_TRUE(parseInto(*copy, form));
        EXPECT_FALSE(parseInto(*copy, group + item + end)) << item;
        EXPECT_EQ(formOf(*copy).find(" name="), std::string::npos) << item;
    }
    EXPECT_FALSE(parseInto(*copy, "<Plexes/>"));
}

} // namespace
