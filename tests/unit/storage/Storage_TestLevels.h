#pragma once

#include "model/System_Allocate.h"
#include "storage/Storage_DriveExtent.h"
#include "storage/Storage_ExtentPool.h"
#include "storage/Storage_Factory.h"
#include "storage/Storage_PhysicalDrive.h"
#include "storage/Storage_Plex.h"
#include "storage/Storage_StorageAssociations.h"
#include "storage/Storage_StorageVolume.h"

#include <string>
#include <vector>

/// Classes for all levels that find nothing and tell when they go.

inline std::vector<std::string> deletedCollections;

template <typename Base>
class TestObject : public Base {
public:
    using Base::operator=;
    bool audit() override { return true; }
};

template <typename Base>
class TestCollection : public Base {
public:
    ~TestCollection() override { deletedCollections.emplace_back(Base::Shape::element); }
    bool audit() override {
        this->setAuditResult(true);
        this->setAudited();
        return true;
    }
};

class TestAssociations : public Storage_StorageAssociations {
public:
    ~TestAssociations() override { deletedCollections.emplace_back("StorageAssociations"); }
    bool audit() override { return true; }
    bool parse(xercesc::DOMElement*) override { return false; }
    bool serialize(xercesc::DOMDocument*, xercesc::DOMElement*, xercesc::DOMElement*) override {
        return false;
    }
};

/// Puts them in as long as it lives.
class TestLevels {
public:
    TestLevels() : outer_(gStorageLevels) {
        gStorageLevels = {
            System_Allocate<Storage_PhysicalDrives, TestCollection<Storage_PhysicalDrives>>,
            System_Allocate<Storage_PhysicalDrive, TestObject<Storage_PhysicalDrive>>,
            System_Allocate<Storage_DriveExtents, TestCollection<Storage_DriveExtents>>,
            System_Allocate<Storage_DriveExtent, TestObject<Storage_DriveExtent>>,
            System_Allocate<Storage_ExtentPools, TestCollection<Storage_ExtentPools>>,
            System_Allocate<Storage_ExtentPool, TestObject<Storage_ExtentPool>>,
            System_Allocate<Storage_Plexes, TestCollection<Storage_Plexes>>,
            System_Allocate<Storage_Plex, TestObject<Storage_Plex>>,
            System_Allocate<Storage_StorageVolumes, TestCollection<Storage_StorageVolumes>>,
            System_Allocate<Storage_StorageVolume, TestObject<Storage_StorageVolume>>,
            System_Allocate<Storage_StorageAssociations, TestAssociations>,
        };
    }
    TestLevels(const TestLevels&) = delete;
    TestLevels& operator=(const TestLevels&) = delete;
    ~TestLevels() { gStorageLevels = outer_; }

private:
    Storage_Levels outer_;
};
