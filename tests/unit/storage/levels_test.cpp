#include "files/System_FileSystemObject.h"
#include "model/Audit_XML.h"
#include "storage/Storage_DriveExtent.h"
#include "storage/Storage_ExtentPool.h"
#include "storage/Storage_PhysicalDrive.h"
#include "storage/Storage_Plex.h"
#include "storage/Storage_StorageVolume.h"

#include <gtest/gtest.h>

namespace {

const std::string sets =
    R"(isPartOfConcatenationSet="false" isPartOfMirrorSet="false" isPartOfStripeSet="true" )";
const std::string common =
    R"(composition="RAID5" existence="true" )" + sets + R"(name="b" physicality="Logical"/>)";
const std::string drives =
    R"(<PhysicalDrives><PhysicalDrive composition="Unknown" controllerType="unknown" deviceType="DAS" )"
    R"(existence="true" )" +
    sets +
    R"(name="a" physicality="Physical"/>)"
    R"(<PhysicalDrive bytesPerTrack="4" composition="Simple" controllerType="scsi" deviceType="SAN" )"
    R"(existence="true" )" +
    sets +
    R"(manufacturer="Maker" model="Model" name="b" physicality="Physical" )"
    R"(providerAddress="50:06" serialNumber="S1" totalBytes="36400000000" totalCylinders="2" totalTracks="1" )"
    R"(tracksPerCylinder="3"/></PhysicalDrives>)";
const std::string volumes =
    R"(<StorageVolumes><StorageVolume composition="Simple" devicePath="host:/path" existence="true" )"
    R"(fileSystem="nfs" isNetwork="true" )" +
    sets +
    R"(mountPoint="/mnt" name="/mnt" networkAddress="host:/path" )"
    R"(numDirs="1" numDirsAccessed="2" numDirsArchived="3" numDirsModified="4" numDirsNotArchived="5" )"
    R"(numFiles="6" numFilesAccessed="7" numFilesArchived="8" numFilesModified="9" numFilesNotArchived="10" )"
    R"(physicality="Logical" totalInodes="11" usedBytes="12" usedInodes="13"/></StorageVolumes>)";

/// Members are copied as well, which must leave nothing out.
template <typename Collection>
void checkForm(std::unique_ptr<Collection> collection, const std::string& form) {
    ASSERT_TRUE(parseInto(*collection, form));
    EXPECT_EQ(formOf(*collection), "<Root>" + form + "</Root>");
    for (const auto& [name, member] : collection->getMap()) {
        const auto copy = Collection::makePlaceholder(*member);
        *copy = *member;
        EXPECT_EQ(formOf(*copy), formOf(*member));
    }
    collection->deallocateMap();
    EXPECT_EQ(formOf(*collection), "<Root>" + form.substr(0, form.find('>')) + "/></Root>");
}

TEST(Levels, WriteTheFormThatTheyRead) {
    checkForm(Storage_FactoryAllocatePhysicalDrives(), drives);
    checkForm(Storage_FactoryAllocateDriveExtents(),
              "<DriveExtents><DriveExtent " + common + "</DriveExtents>");
    checkForm(Storage_FactoryAllocateExtentPools(), "<ExtentPools><ExtentPool " + common + "</ExtentPools>");
    checkForm(Storage_FactoryAllocatePlexes(), "<Plexes><Plex " + common + "</Plexes>");
    checkForm(Storage_FactoryAllocateStorageVolumes(), volumes);
}

TEST(Levels, CountWhatAVolumeHolds) {
    const auto volume = Storage_FactoryAllocateStorageVolume();
    const auto object = System_FactoryAllocateFileSystemObject();
    const std::string texts[] = {"2026-01-01 00:00:00", "2026-01-02 00:00:00", "2026-01-02 00:00:01"};
    std::unique_ptr<System_Date> dates[3];
    for (int at = 0; at < 3; ++at) {
        dates[at] = System_FactoryAllocateDate();
        dates[at]->parse(&texts[at]);
    }
    object->setModifyDT(dates[1].get());
    object->setAccessDT(dates[0].get());
    for (const bool isDirectory : {true, false, false}) {
        object->setIsDirectory(isDirectory);
        EXPECT_TRUE(volume->evaluateFile(object.get(), dates[0].get(), dates[1].get()));
        object->setIsSoftLink(!isDirectory);
    }
    object->setModifyDT(dates[2].get());
    object->setAttributeFlag(System_FileSystemObject::Archived);
    EXPECT_TRUE(volume->evaluateFile(object.get(), dates[0].get(), dates[1].get()));
    EXPECT_EQ(volume->getNumDirs() * 1000 + volume->getNumDirsModified() * 100 +
                  volume->getNumDirsAccessed() * 10 + volume->getNumDirsArchivedSet(),
              1110U);
    EXPECT_EQ(volume->getNumFiles() * 1000 + volume->getNumFilesModified() * 100 +
                  volume->getNumFilesAccessed() * 10 + volume->getNumFilesArchivedSet(),
              3211U);
    object->setAllocatedModifyDT(nullptr);
    EXPECT_FALSE(volume->evaluateFile(object.get(), dates[0].get(), dates[1].get()));
    EXPECT_FALSE(volume->evaluateFile(nullptr, dates[0].get(), dates[1].get()));
}

} // namespace
