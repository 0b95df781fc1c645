#pragma once

#include "model/Storage_MapCollection.h"
#include "model/System_XMLObject.h"
#include "storage/Storage_Factory.h"

#include <cstdint>
#include <string>

/// A whole disk: what it is and how it is reached. Its name is the path of its device node. Setters of texts
/// take null as the empty text.
class Storage_PhysicalDrive : public System_XMLObject<Storage_PhysicalDrive, System_Object::PhysicalDrive> {
public:
    static XMLSerializable_Table<Storage_PhysicalDrive> attributes();

    using System_Object::operator=;
    virtual Storage_PhysicalDrive& operator=(const Storage_PhysicalDrive& other) = default;

    const std::string& getManufacturer() const { return manufacturer_; }
    /// Without the blanks at both ends.
    void setManufacturer(const char* manufacturer);
    const std::string& getModel() const { return model_; }
    void setModel(const char* model) { model_ = textOf(model); }
    /// "ide" or "scsi"; the audit chooses by it.
    const char* getControllerType() const { return controllerType_.c_str(); }
    void setControllerType(const char* type) { controllerType_ = textOf(type); }
    const std::string& getSerialNumber() const { return serialNumber_; }
    void setSerialNumber(const char* serialNumber) { serialNumber_ = textOf(serialNumber); }
    std::uint64_t getTotalTracks() const { return totalTracks_; }
    void setTotalTracks(std::uint64_t tracks) { totalTracks_ = tracks; }
    std::uint64_t getTotalCylinders() const { return totalCylinders_; }
    void setTotalCylinders(std::uint64_t cylinders) { totalCylinders_ = cylinders; }
    std::uint64_t getTracksPerCylinder() const { return tracksPerCylinder_; }
    void setTracksPerCylinder(std::uint64_t tracks) { tracksPerCylinder_ = tracks; }
    std::uint64_t getBytesPerTrack() const { return bytesPerTrack_; }
    void setBytesPerTrack(std::uint64_t bytes) { bytesPerTrack_ = bytes; }
    Storage_DriveType getDriveType() const { return deviceType_; }
    void setDriveType(Storage_DriveType type) { deviceType_ = type; }
    /// Where the drive is in its storage network.
    const std::string& getProviderAddress() const { return providerAddress_; }
    void setProviderAddress(const char* address) { providerAddress_ = textOf(address); }

private:
    std::string manufacturer_;
    std::string model_;
    std::string controllerType_;
    std::string serialNumber_;
    std::uint64_t totalTracks_ = 0;
    std::uint64_t totalCylinders_ = 0;
    std::uint64_t tracksPerCylinder_ = 0;
    std::uint64_t bytesPerTrack_ = 0;
    Storage_DriveType deviceType_ = DriveType_DAS;
    std::string providerAddress_;
};

/// The disks of the host.
class Storage_PhysicalDrives
    : public Storage_MapCollection<Storage_PhysicalDrive, System_Object::PhysicalDrives,
                                   Storage_FactoryAllocatePhysicalDrive> {
public:
    void deallocateDriveMap() { deallocateMap(); }
};
