#include "storage/Storage_PhysicalDriveLinux.h"

#include "base/String_Functions.h"
#include "host/Host_Host.h"
#include "log/Debug_Printf.h"
#include "model/Auditable_TryAudit.h"
#include "storage/Storage_Container.h"
#include "storage/Storage_HostReport.h"
#include "storage/Storage_Membership.h"
#include "storage/Storage_RaidLevels.h"
#include "storage/Storage_StorageAssociations.h"
#include "storage/System_SANDeviceMap.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <fnmatch.h>
#include <string_view>

namespace {

constexpr const char* driveClass = "Storage_PhysicalDriveLinux";
constexpr std::string_view directAccess = "Direct-Access";
constexpr std::string_view ide = "ide";
constexpr std::string_view scsi = "scsi";

/// Places in the reply to HDIO_GET_IDENTITY.
constexpr std::size_t identitySerial = 20;
constexpr std::size_t identityModel = 54;

/// Places in the reply to INQUIRY. What stands at the serial number's is for each maker to say.
struct Field {
    std::size_t start;
    std::size_t length;
};
constexpr Field inquiryVendor = {8, 8};
constexpr Field inquiryProduct = {16, 16};
constexpr Field inquirySerial = {36, 12};

std::string fieldOf(const std::string& reply, Field field) {
    std::string text = reply.substr(std::min(field.start, reply.size()), field.length).c_str();
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back())) != 0)
        text.pop_back();
    return text;
}

/// A busy drive or one without a medium is none of the agent's business.
bool isNoFault(int error) {
    return error == ENXIO || error == EBUSY;
}

bool isDisk(const Storage_ScsiSection& section, const Host_ScsiAddress& address) {
    return section.type.find(directAccess) != std::string::npos &&
           section.host == static_cast<int>(address.host) && section.id == static_cast<int>(address.id) &&
           section.lun == static_cast<int>(address.lun);
}

} // namespace

/// The map of the storage network, made anew and held for one audit of drives. Without it all drives count as
/// local.
class Storage_PhysicalDrivesLinux::SANMap {
public:
    explicit SANMap(Host_Host& host) {
        System_SANDeviceMap* const map = System_FactoryAccessSANDeviceMap();
        if (map == nullptr || !map->acquireObjectLock()) {
            DEBUG_LOG("Storage_PhysicalDrivesLinux::audit: failed to access SANMap\n");
            return;
        }
        map->setHost(host);
        if (Auditable_TryAudit(*map)) {
            map_ = map;
            return;
        }
        DEBUG_LOG("Storage_PhysicalDrivesLinux::audit: failed SAN audit\n");
        release(*map);
    }
    SANMap(const SANMap&) = delete;
    SANMap& operator=(const SANMap&) = delete;
    ~SANMap() {
        if (map_ != nullptr)
            release(*map_);
    }

    void mark(Storage_PhysicalDrive& drive) const {
        const char* name = drive.getName().c_str();
        if (map_ == nullptr || !map_->isSANDrive(name))
            return;
        DEBUG_LOG("Storage_PhysicalDrivesLinux::audit: %s is SAN drive\n", name);
        drive.setDriveType(DriveType_SAN);
        drive.setProviderAddress(map_->getSANAddress(name).c_str());
    }

private:
    static void release(System_SANDeviceMap& map) {
        map.cleanupAfterAudit();
        map.releaseObjectLock();
    }

    System_SANDeviceMap* map_ = nullptr;
};

bool Storage_PhysicalDrivesLinux::isValidDrive(const std::string& name, int subsystem) {
    const auto index = static_cast<std::size_t>(subsystem);
    return fnmatch(Storage_DriveSubsystemPattern1.at(index), name.c_str(), 0) == 0 ||
           fnmatch(Storage_DriveSubsystemPattern2.at(index), name.c_str(), 0) == 0;
}

bool Storage_PhysicalDrivesLinux::audit() {
    if (gStorageContainer->ensure<Storage_StorageAssociations>() == nullptr)
        return false;
    const SANMap sanMap(getHost());
    bool isGoingOn = true;
    for (int subsystem = 0; isGoingOn && subsystem < static_cast<int>(Storage_DriveSubsystemDirectory.size());
         ++subsystem)
        isGoingOn = auditSubsystem(subsystem, sanMap);
    if (!isGoingOn || !auditDrivesOfKernel(sanMap)) {
        DEBUG_LOG("Storage_PhysicalDrivesLinux::audit: failed\n");
        return false;
    }
    setAuditResult(true);
    setAudited();
    return true;
}

bool Storage_PhysicalDrivesLinux::auditDrivesOfKernel(const SANMap& sanMap) {
    const Storage_BlockDevices* devices = gStorageContainer->report(*this).blockDevices();
    if (devices == nullptr)
        return true;
    for (const auto& [name, device] : devices->all()) {
        if (device.kind != Storage_BlockDevice::Kind::Drive || getMap().contains(device.path))
            continue;
        std::unique_ptr<Storage_PhysicalDrive> drive = Storage_FactoryAllocatePhysicalDrive();
        if (!drive) {
            DEBUG_LOG("Storage_PhysicalDrivesLinux::audit: failed Storage_FactoryAllocatePhysicalDrive\n");
            return false;
        }
        drive->setName(device.path.c_str());
        drive->setControllerType(device.subsystem.c_str());
        admit(std::move(drive), sanMap);
        if (isToldToTerminate()) {
            DEBUG_LOG("Storage_PhysicalDrivesLinux::audit: signalled to terminate\n");
            return false;
        }
    }
    return true;
}

void Storage_PhysicalDrivesLinux::admit(std::unique_ptr<Storage_PhysicalDrive> allocated,
                                        const SANMap& sanMap) {
    Storage_PhysicalDrive& drive = *allocated;
    const std::string path = drive.getName();
    switch (auditAndInsert(std::move(allocated))) {
    case Storage_Admission::Inserted:
        sanMap.mark(drive);
        break;
    case Storage_Admission::AlreadyThere:
        break;
    case Storage_Admission::Failed:
        DEBUG_LOG("Storage_PhysicalDrivesLinux::audit: failed audit drive\n");
        recordFailure(path, System_Object::PhysicalDrive);
        break;
    }
}

bool Storage_PhysicalDrivesLinux::auditSubsystem(int subsystem, const SANMap& sanMap) {
    const std::string folder = Storage_DriveSubsystemDirectory.at(static_cast<std::size_t>(subsystem));
    const Host_Answer<std::vector<std::string>> entries = getHost().listFolder(folder);
    if (!entries) {
        DEBUG_LOG("Storage_PhysicalDrivesLinux::audit: failed to open %s\n", folder.c_str());
        return true;
    }
    for (const std::string& entry : *entries) {
        if (!isValidDrive(entry, subsystem))
            continue;
        const Outcome outcome = auditEntry(subsystem, folder, entry, sanMap);
        if (outcome == Outcome::AuditFailed)
            return false;
        if (isToldToTerminate()) {
            DEBUG_LOG("Storage_PhysicalDrivesLinux::audit: signalled to terminate\n");
            return false;
        }
        if (outcome == Outcome::FolderDone)
            break;
    }
    return true;
}

Storage_PhysicalDrivesLinux::Outcome Storage_PhysicalDrivesLinux::auditEntry(int subsystem,
                                                                             const std::string& folder,
                                                                             const std::string& entry,
                                                                             const SANMap& sanMap) {
    const std::string path = folder + '/' + entry;
    const Storage_BlockDevice* known = gStorageContainer->report(*this).blockDevice(path);
    // The kernel tells of it without waking it up.
    if (known != nullptr && known->isSuspended)
        return Outcome::GoOn;
    const Host_Answer<std::unique_ptr<Host_Device>> device =
        gStorageContainer->report(*this).openDevice(path);
    if (!device) {
        if (!isNoFault(device.error())) {
            DEBUG_LOG("Storage_PhysicalDrivesLinux::audit: failed to audit drive %s\n", path.c_str());
            recordFailure(entry, System_Object::PhysicalDrive);
        }
        return Outcome::GoOn;
    }
    std::unique_ptr<Storage_PhysicalDrive> allocated = Storage_FactoryAllocatePhysicalDrive();
    if (!allocated) {
        DEBUG_LOG("Storage_PhysicalDrivesLinux::audit: failed Storage_FactoryAllocatePhysicalDrive\n");
        return Outcome::AuditFailed;
    }
    auto& drive = static_cast<Storage_PhysicalDriveLinux&>(*allocated);
    const Verdict verdict = classify(drive, **device, subsystem, entry);
    if (verdict != Verdict::Accepted)
        return verdict == Verdict::Unreachable ? Outcome::FolderDone : Outcome::GoOn;
    drive.setName(path.c_str());
    admit(std::move(allocated), sanMap);
    return Outcome::GoOn;
}

Storage_PhysicalDrivesLinux::Verdict Storage_PhysicalDrivesLinux::classify(Storage_PhysicalDriveLinux& drive,
                                                                           Host_Device& device, int subsystem,
                                                                           const std::string& entry) {
    Storage_HostReport& report = gStorageContainer->report(*this);
    if (entry.starts_with("hd")) {
        drive.setControllerType(ide.data());
        const std::string* media = report.ideMedia(entry);
        return media != nullptr && *media == "disk" ? Verdict::Accepted : Verdict::NoDisk;
    }
    if (!entry.starts_with("sd")) {
        const auto row = static_cast<std::size_t>(subsystem);
        drive.setControllerType(Storage_DriveSubsystemControllerType.at(row));
        drive.setManufacturer(Storage_DriveSubsystemManufacturer.at(row));
        drive.setModel(Storage_DriveSubsystemModel.at(row));
        return Verdict::Accepted;
    }
    drive.setControllerType(scsi.data());
    const Host_Answer<Host_ScsiAddress> address = device.scsiAddress();
    if (!address) {
        DEBUG_LOG("System_StorageSystemLinux::audit: ioctl SCSI_IOCTL_GETID_LUN error\n");
        return Verdict::Unreachable;
    }
    drive.setSCSIHost(static_cast<int>(address->host));
    drive.setSCSIId(static_cast<int>(address->id));
    drive.setSCSILun(static_cast<int>(address->lun));
    const std::vector<Storage_ScsiSection>* sections = report.scsiSections();
    const bool isKnown = sections != nullptr &&
                         std::any_of(sections->begin(), sections->end(),
                                     [&](const Storage_ScsiSection& each) { return isDisk(each, *address); });
    return isKnown ? Verdict::Accepted : Verdict::NoDisk;
}

bool Storage_PhysicalDriveLinux::audit() {
    if (getName().empty()) {
        DEBUG_LOG("Storage_PhysicalDriveLinux::audit: getName is empty\n");
        return false;
    }
    Storage_HostReport& report = gStorageContainer->report(*this);
    const Storage_BlockDevice* known = report.blockDevice(getName());
    const bool isAudited = known != nullptr ? auditKnown(*known, report) : auditDevice(report);
    if (!isAudited)
        return false;
    if (!auditSize(report))
        return false;
    auditLVM();
    auditRaid();
    setAuditResult(true);
    return true;
}

bool Storage_PhysicalDriveLinux::auditDevice(Storage_HostReport& report) {
    const Host_Answer<std::unique_ptr<Host_Device>> device = report.openDevice(getName());
    if (!device) {
        DEBUG_LOG("Storage_PhysicalDriveLinux::audit: error opening device %s\n", getName().c_str());
        return false;
    }
    return auditIdentity(**device) && Storage_AuditLVMHeader(*this, **device, report, driveClass);
}

bool Storage_PhysicalDriveLinux::auditKnown(const Storage_BlockDevice& known, Storage_HostReport& report) {
    if (getManufacturer().empty())
        setManufacturer(known.vendor.c_str());
    if (getModel().empty())
        setModel(known.model.c_str());
    setSerialNumber(known.serial.c_str());
    if (!known.isSuspended && (getControllerType() == scsi || getControllerType() == ide)) {
        const Host_Answer<std::unique_ptr<Host_Device>> device = report.openDevice(getName());
        if (device)
            auditIdentity(**device);
        if (getSerialNumber().empty())
            setSerialNumber(known.serial.c_str());
    }
    return Storage_AuditLVMOfKernel(*this, known, report);
}

bool Storage_PhysicalDriveLinux::auditIdentity(Host_Device& device) {
    if (getControllerType() == scsi)
        return auditSCSI(device);
    if (getControllerType() == ide)
        return auditIDE(device);
    DEBUG_LOG("Storage_PhysicalDriveLinux::audit: Unknown drive type\n");
    return false;
}

bool Storage_PhysicalDriveLinux::auditIDE(Host_Device& device) {
    const Host_Answer<std::string> identity = device.identity();
    if (!identity) {
        DEBUG_LOG("Storage_PhysicalDriveLinux::auditIDE: Could not determine drive info\n");
        return true;
    }
    const std::string model = identity->substr(std::min(identityModel, identity->size())).c_str();
    const std::size_t blank = model.find_first_of(" \t");
    if (blank == std::string::npos) {
        DEBUG_LOG("Storage_PhysicalDriveLinux::auditIDE: Could not determine drive make and model\n");
    } else {
        setManufacturer(model.substr(0, blank).c_str());
        setModel(model.substr(blank + 1).c_str());
    }
    setSerialNumber(identity->substr(std::min(identitySerial, identity->size())).c_str());
    return true;
}

bool Storage_PhysicalDriveLinux::auditSCSI(Host_Device& device) {
    const Host_Answer<std::string> inquiry = device.inquiry();
    if (!inquiry) {
        DEBUG_LOG("Storage_PhysicalDriveLinux::auditSCSI: failed INQUIRY%s\n",
                  (": " + std::string(std::strerror(inquiry.error()))).c_str());
        return false;
    }
    setManufacturer(fieldOf(*inquiry, inquiryVendor).c_str());
    setModel(fieldOf(*inquiry, inquiryProduct).c_str());
    setSerialNumber(fieldOf(*inquiry, inquirySerial).c_str());
    return true;
}

bool Storage_PhysicalDriveLinux::auditSize(Storage_HostReport& report) {
    const Storage_FdiskDrive* drive = report.fdisk(getName());
    if (drive == nullptr) {
        DEBUG_LOG("Storage_PhysicalDriveLinux::audit: OS command failed: %s\n",
                  report.failedCommand().c_str());
        return false;
    }
    if (drive->totalBytes)
        setTotalBytes(*drive->totalBytes);
    setIsWholeDrive(drive->isWhole);
    if (drive->isDecided)
        DEBUG_LOG("Storage_PhysicalDriveLinux::audit: wholedrive %s: %s\n", drive->isWhole ? "true" : "false",
                  getName().c_str());
    return true;
}

bool Storage_PhysicalDriveLinux::auditLVM() {
    return Storage_AuditLVMAllocation(*this, gStorageContainer->report(*this));
}

bool Storage_PhysicalDriveLinux::auditRaid() {
    Storage_HostReport& report = gStorageContainer->report(*this);
    const bool done = auditRaid(report);
    if (!done)
        DEBUG_LOG("Storage_PhysicalDriveLinux::auditRaid: OS command failed: %s\n",
                  report.failedCommand().c_str());
    return done;
}

bool Storage_PhysicalDriveLinux::auditRaid(Storage_HostReport& report) {
    const std::optional<Storage_RaidMembership> membership =
        Storage_FindRaidMembership(getName(), Storage_RaidNames::OrPartitions, report);
    setIsPartOfMetaDevice(membership && membership->isMember);
    if (!membership || !membership->isMember)
        return membership.has_value();

    const bool isKernel24 = report.isKernel("2.4");
    std::vector<std::string> levels = membership->levels;
    if (!membership->isSettled && !auditRaidState(report, isKernel24, levels))
        return false;
    if (!isPartOfMetaDevice_)
        return true;
    for (const std::string& level : levels)
        Storage_ShowRaidLevel(*this, level, Storage_RaidShows::Flags, report.isLaterKernel());
    Storage_StorageAssociations& associations = *gStorageContainer->getStorageAssociations();
    for (const std::string& array : membership->arrays) {
        if (isKernel24)
            associations.addAssociation(*this, array, Plex);
        // The extent that stands for a whole drive asks for the array by this.
        associations.addAssociation(*this, array, ExtentPool);
    }
    return true;
}

bool Storage_PhysicalDriveLinux::auditRaidState(Storage_HostReport& report, bool isKernel24,
                                                std::vector<std::string>& levels) {
    const Storage_LsraidState* state = isKernel24 ? report.lsraid(getName()) : nullptr;
    const Storage_MdadmQuery* query = isKernel24 ? nullptr : report.mdadmQuery(getName());
    if (state == nullptr && query == nullptr)
        return false;
    if (isKernel24 ? state->isOffline : query->isInactive) {
        setIsPartOfMetaDevice(false);
        setAllocatedBytes(0);
        return true;
    }

    if (isKernel24)
        return true;
    const Storage_MdadmExamine* examined = report.mdadmExamine(getName());
    if (examined == nullptr)
        return false;
    if (examined->level)
        levels.push_back(*examined->level);
    return true;
}
