#pragma once

#include "files/System_FileEvaluator.h"
#include "model/Storage_MapCollection.h"
#include "model/System_XMLObject.h"
#include "storage/Storage_Factory.h"

#include <cstdint>
#include <string>

/// A mounted file system, how full it is, and what was counted in it. Its name is its mount point. Setters of
/// texts take null as the empty text.
class Storage_StorageVolume : public System_XMLObject<Storage_StorageVolume, System_Object::StorageVolume>,
                              public System_FileEvaluator {
public:
    static XMLSerializable_Table<Storage_StorageVolume> attributes();

    /// Volumes are logical by nature.
    Storage_StorageVolume() { setPhysicality(Physicality_Logical); }
    using System_Object::operator=;
    virtual Storage_StorageVolume& operator=(const Storage_StorageVolume& other) = default;
    /// Counts an object of the file system. False if it, or a date that is needed, is null.
    bool evaluateFile(System_FileSystemObject* fso, System_Date* startDay, System_Date* endDay) override;

    const std::string& getFileSystem() const { return fileSystem_; }
    void setFileSystem(const char* fileSystem) { fileSystem_ = textOf(fileSystem); }
    const std::string& getMountPoint() const { return mountPoint_; }
    void setMountPoint(const char* mountPoint) { mountPoint_ = textOf(mountPoint); }
    /// What is mounted: a device node, or the address of a network volume.
    const std::string& getDevicePath() const { return devicePath_; }
    void setDevicePath(const char* path) { devicePath_ = textOf(path); }
    bool getIsNetwork() const { return isNetwork_; }
    void setIsNetwork(bool isNetwork) { isNetwork_ = isNetwork; }
    const std::string& getNetworkAddress() const { return networkAddress_; }
    void setNetworkAddress(const char* address) { networkAddress_ = textOf(address); }
    std::uint64_t getUsedBytes() const { return usedBytes_; }
    void setUsedBytes(std::uint64_t bytes) { usedBytes_ = bytes; }
    std::uint64_t getTotalInodes() const { return totalInodes_; }
    void setTotalInodes(std::uint64_t count) { totalInodes_ = count; }
    std::uint64_t getUsedInodes() const { return usedInodes_; }
    void setUsedInodes(std::uint64_t count) { usedInodes_ = count; }
    std::uint64_t getNumFiles() const { return numFiles_; }
    void setNumFiles(std::uint64_t count) { numFiles_ = count; }
    std::uint64_t getNumFilesModified() const { return numFilesModified_; }
    void setNumFilesModified(std::uint64_t count) { numFilesModified_ = count; }
    std::uint64_t getNumFilesAccessed() const { return numFilesAccessed_; }
    void setNumFilesAccessed(std::uint64_t count) { numFilesAccessed_ = count; }
    std::uint64_t getNumFilesArchivedSet() const { return numFilesArchived_; }
    void setNumFilesArchivedSet(std::uint64_t count) { numFilesArchived_ = count; }
    std::uint64_t getNumDirs() const { return numDirs_; }
    void setNumDirs(std::uint64_t count) { numDirs_ = count; }
    std::uint64_t getNumDirsModified() const { return numDirsModified_; }
    void setNumDirsModified(std::uint64_t count) { numDirsModified_ = count; }
    std::uint64_t getNumDirsAccessed() const { return numDirsAccessed_; }
    void setNumDirsAccessed(std::uint64_t count) { numDirsAccessed_ = count; }
    std::uint64_t getNumDirsArchivedSet() const { return numDirsArchived_; }
    void setNumDirsArchivedSet(std::uint64_t count) { numDirsArchived_ = count; }

private:
    std::string fileSystem_;
    std::string mountPoint_;
    std::string devicePath_;
    bool isNetwork_ = false;
    std::string networkAddress_;
    std::uint64_t usedBytes_ = 0;
    std::uint64_t totalInodes_ = 0;
    std::uint64_t usedInodes_ = 0;
    std::uint64_t numFiles_ = 0;
    std::uint64_t numFilesModified_ = 0;
    std::uint64_t numFilesAccessed_ = 0;
    std::uint64_t numFilesArchived_ = 0;
    std::uint64_t numFilesNotArchived_ = 0;
    std::uint64_t numDirs_ = 0;
    std::uint64_t numDirsModified_ = 0;
    std::uint64_t numDirsAccessed_ = 0;
    std::uint64_t numDirsArchived_ = 0;
    std::uint64_t numDirsNotArchived_ = 0;
};

/// The mounted file systems of the host.
class Storage_StorageVolumes
    : public Storage_MapCollection<Storage_StorageVolume, System_Object::StorageVolumes,
                                   Storage_FactoryAllocateStorageVolume> {
public:
    void deallocateVolumeMap() { deallocateMap(); }
};
