#include "storage/Storage_BlockDevices.h"

#include "host/Host_Host.h"
#include "storage/Storage_Lines.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>

namespace {

using Kind = Storage_BlockDevice::Kind;

/// The kernel counts in these wherever a device has larger ones too.
constexpr std::uint64_t sectorBytes = 512;
const std::string blockFolder = "/sys/block/";

/// Majors of devices that are no drives: ram disks, floppies, loop devices, optical drives.
constexpr unsigned majorsOfOthers[] = {1, 2, 7, 11};
/// What the mapper's identities of multipath maps and of their partitions begin with.
constexpr std::string_view multipathPrefix = "mpath-";
constexpr std::string_view mappedPartitionPrefix = "part";

std::string lineOf(Host_Host& host, const std::string& path) {
    const Host_Answer<std::string> text = host.readFile(path);
    if (!text)
        return {};
    std::string_view line = std::string_view(*text).substr(0, text->find('\n'));
    while (!line.empty() && std::isspace(static_cast<unsigned char>(line.back())) != 0)
        line.remove_suffix(1);
    while (!line.empty() && std::isspace(static_cast<unsigned char>(line.front())) != 0)
        line.remove_prefix(1);
    return std::string(line);
}

std::uint64_t numberOf(Host_Host& host, const std::string& path) {
    return Storage_Number(lineOf(host, path));
}

std::vector<std::string> namesIn(Host_Host& host, const std::string& folder) {
    return host.listFolder(folder).valueOr({});
}

/// "8:1".
void readNumbers(const std::string& line, Storage_BlockDevice& device) {
    const std::size_t colon = line.find(':');
    device.major = static_cast<unsigned>(Storage_Number(line));
    device.minor = colon == std::string::npos
                       ? 0
                       : static_cast<unsigned>(Storage_Number(std::string_view(line).substr(colon + 1)));
}

/// In sysfs a slash in a device's name is an exclamation mark.
std::string nodePath(std::string name) {
    std::replace(name.begin(), name.end(), '!', '/');
    return "/dev/" + name;
}

/// Finds the device's node; none if no node has its numbers.
void findNode(Host_Host& host, Storage_BlockDevice& device) {
    const auto isNode = [&](const std::string& path) {
        const Host_Answer<Host_Node> node = host.node(path);
        return node && node->kind == Host_Node::Block && node->major == device.major &&
               node->minor == device.minor;
    };
    std::vector<std::string> candidates;
    if (!device.mapName.empty())
        candidates.push_back("/dev/mapper/" + device.mapName);
    candidates.push_back(nodePath(device.name));
    const auto found = std::find_if(candidates.begin(), candidates.end(), isNode);
    if (found != candidates.end())
        device.path = *found;
}

bool isOneOf(std::string_view word, std::initializer_list<std::string_view> words) {
    return std::find(words.begin(), words.end(), word) != words.end();
}

bool isOfOthers(const Storage_BlockDevice& device) {
    return std::find(std::begin(majorsOfOthers), std::end(majorsOfOthers), device.major) !=
           std::end(majorsOfOthers);
}

/// A boot area of a memory card is hardware's own storage, not a disk's.
bool isBootArea(const Storage_BlockDevice& device) {
    return device.subsystem == "mmc" && device.name.find("boot") != std::string::npos;
}

Kind kindOf(Host_Host& host, const Storage_BlockDevice& device, const std::string& folder) {
    if (device.level)
        return Kind::Array;
    if (device.mapUuid.starts_with(multipathPrefix))
        return Kind::Drive;
    if (device.mapUuid.starts_with(mappedPartitionPrefix))
        return Kind::Partition;
    if (!device.mapName.empty())
        return Kind::Mapped;
    if (device.subsystem.empty() || device.totalBytes == 0 || isBootArea(device))
        return Kind::Other;
    // Types of SCSI devices that are disks: direct access, write once, simplified, zoned.
    const std::string type = device.subsystem == "scsi" ? lineOf(host, folder + "/device/type") : "0";
    return isOneOf(type, {"0", "4", "14", "20"}) ? Kind::Drive : Kind::Other;
}

/// The serial number as the drive's driver or udev's probe knows it.
std::string serialOf(Host_Host& host, const Storage_BlockDevice& device, const std::string& folder) {
    for (const char* key : {"SCSI_IDENT_SERIAL", "ID_SCSI_SERIAL", "ID_SERIAL_SHORT"})
        if (const std::string_view serial = device.property(key); !serial.empty())
            return std::string(serial);
    std::string serial = lineOf(host, folder + "/device/serial");
    return serial.empty() ? lineOf(host, folder + "/serial") : serial;
}

void readHardware(Host_Host& host, const std::string& folder, Storage_BlockDevice& device) {
    const Host_Answer<std::string> link = host.readLink(folder + "/device/subsystem");
    if (!link)
        return;
    device.subsystem = link->substr(link->rfind('/') + 1);
    // A namespace that several controllers share hangs from all of them as one.
    if (device.subsystem.starts_with("nvme"))
        device.subsystem = "nvme";
    device.vendor = lineOf(host, folder + "/device/vendor");
    // Other buses keep a number there.
    if (device.vendor.starts_with("0x"))
        device.vendor.clear();
    device.model = lineOf(host, folder + (device.subsystem == "mmc" ? "/device/name" : "/device/model"));
    device.serial = serialOf(host, device, folder);
    device.isSuspended = lineOf(host, folder + "/device/power/runtime_status") == "suspended";
}

void readArray(Host_Host& host, const std::string& folder, Storage_BlockDevice& device) {
    const std::string level = lineOf(host, folder + "/md/level");
    if (level.empty())
        return;
    device.level = level;
    constexpr std::string_view prefix = "dev-";
    for (const std::string& entry : namesIn(host, folder + "/md")) {
        if (!entry.starts_with(prefix))
            continue;
        // "in_sync,write_mostly", "spare", "faulty". A rebuilding member is a spare with a place.
        const std::string member = std::string(folder).append("/md/").append(entry);
        const std::string state = lineOf(host, member + "/state");
        const std::string slot = lineOf(host, member + "/slot");
        device.members.push_back({entry.substr(prefix.size()), state.find("faulty") == std::string::npos &&
                                                                   !slot.empty() && slot != "none"});
    }
}

/// A type of partition, as udev's probe has it of both kinds of tables.
bool isOfType(const Storage_BlockDevice& partition, std::initializer_list<std::string_view> types) {
    return isOneOf(partition.property("ID_PART_ENTRY_TYPE"), types);
}

/// A frame around logical partitions.
bool isExtended(const Storage_BlockDevice& partition) {
    return isOfType(partition, {"0x5", "0xf", "0x85"});
}

/// By what the table says: a mark for booting, swap space, logical volumes. That a partition is meant for a
/// RAID or for the firmware's files does not mean that anything is there.
bool isSetAside(const Storage_BlockDevice& partition) {
    constexpr unsigned long bootMark = 0x80;
    const std::string flags(partition.property("ID_PART_ENTRY_FLAGS"));
    const bool isMarked = partition.property("ID_PART_ENTRY_SCHEME") == "dos" &&
                          (std::strtoul(flags.c_str(), nullptr, 0) & bootMark) != 0;
    return isMarked || isOfType(partition, {"0x82", "0x8e", "0657fd6d-a4ab-43c4-84e5-0933c84b4f4f",
                                            "e6d6d379-f507-44c2-a23c-238f2a3df928"});
}

std::map<std::string, std::string, std::less<>> propertiesOf(Host_Host& host,
                                                             const Storage_BlockDevice& device) {
    const Host_Answer<std::string> text =
        host.readFile("/run/udev/data/b" + std::to_string(device.major) + ':' + std::to_string(device.minor));
    return text ? Storage_ReadUdevProperties(*text) : std::map<std::string, std::string, std::less<>>();
}

} // namespace

std::map<std::string, std::string, std::less<>> Storage_ReadUdevProperties(std::string_view text) {
    std::map<std::string, std::string, std::less<>> properties;
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(line.size() + 1, text.size()));
        const std::size_t equals = line.find('=');
        if (line.starts_with("E:") && equals != std::string_view::npos)
            properties.insert_or_assign(std::string(line.substr(2, equals - 2)),
                                        std::string(line.substr(equals + 1)));
    }
    return properties;
}

Storage_FdiskDrive Storage_DriveOfKernel(const Storage_BlockDevice& drive) {
    return {drive.totalBytes, !drive.isPartitioned, true};
}

std::vector<Storage_FdiskPartition> Storage_PartitionsOfKernel(const Storage_BlockDevices& devices) {
    std::vector<Storage_FdiskPartition> partitions;
    for (const auto& [name, device] : devices.all()) {
        const Storage_BlockDevice* drive = devices.find(device.whole);
        if (device.kind != Kind::Partition || drive == nullptr || drive->kind != Kind::Drive)
            continue;
        partitions.push_back({device.path, drive->path, device.offsetBytes, device.totalBytes,
                              isExtended(device), isSetAside(device) || !devices.arraysOf(device).empty()});
    }
    return partitions;
}

bool Storage_IsRunningArray(const Storage_BlockDevice& device) {
    return device.kind == Kind::Array && device.totalBytes != 0;
}

Storage_MdadmDetail Storage_DetailOfKernel(const Storage_MdadmDetail& told, const Storage_BlockDevice& array,
                                           const Storage_BlockDevices& devices) {
    Storage_MdadmDetail detail;
    detail.level = told.level ? told.level : array.level;
    const auto add = [&](const Storage_BlockDevice* member) {
        if (member != nullptr && (member->kind == Kind::Drive || member->kind == Kind::Partition) &&
            std::find(detail.members.begin(), detail.members.end(), member->path) == detail.members.end())
            detail.members.push_back(member->path);
    };
    for (const std::string& member : told.members)
        add(devices.findByPath(member));
    for (const Storage_ArrayMember& member : array.members)
        if (member.isActive)
            add(devices.find(member.device));
    return detail;
}

std::optional<std::string> Storage_GroupOfMap(const Storage_BlockDevice& device) {
    if (!device.mapUuid.starts_with("LVM-"))
        return std::nullopt;
    std::string group;
    const std::string& name = device.mapName;
    for (std::size_t at = 0; at < name.size(); ++at) {
        if (name[at] == '-' && name.compare(at, 2, "--") != 0)
            return group;
        group += name[at];
        at += name[at] == '-' ? 1 : 0;
    }
    return std::nullopt;
}

Storage_BlockDevices::Storage_BlockDevices(Host_Host& host) {
    const Host_Answer<std::vector<std::string>> names = host.listFolder("/sys/block");
    areKnown_ = static_cast<bool>(names);
    if (!areKnown_)
        return;
    for (const std::string& name : *names)
        add(host, name);
    markPaths();
    for (const auto& [name, device] : devices_) {
        byNumber_.emplace(std::pair(device.major, device.minor), &device);
        byPath_.emplace(device.path, &device);
        if (Storage_IsRunningArray(device))
            addMembers(device);
    }
}

void Storage_BlockDevices::add(Host_Host& host, const std::string& name) {
    const std::string folder = blockFolder + name;
    Storage_BlockDevice device;
    device.name = name;
    readNumbers(lineOf(host, folder + "/dev"), device);
    device.mapName = lineOf(host, folder + "/dm/name");
    findNode(host, device);
    if (device.path.empty())
        return;
    device.totalBytes = numberOf(host, folder + "/size") * sectorBytes;
    // There are often many of them, and nothing more to know.
    if (!isOfOthers(device)) {
        device.mapUuid = lineOf(host, folder + "/dm/uuid");
        device.slaves = namesIn(host, folder + "/slaves");
        device.properties = propertiesOf(host, device);
        readHardware(host, folder, device);
        readArray(host, folder, device);
        device.kind = kindOf(host, device, folder);
        device.isPartitioned = !device.property("ID_PART_TABLE_TYPE").empty();
    }
    for (const std::string& entry : namesIn(host, folder))
        if (entry.starts_with(name) && entry != name && addPartition(host, entry, device))
            device.isPartitioned = true;
    devices_.insert_or_assign(name, std::move(device));
}

bool Storage_BlockDevices::addPartition(Host_Host& host, const std::string& name,
                                        Storage_BlockDevice& whole) {
    const std::string folder = blockFolder + whole.name + '/' + name;
    const std::string start = lineOf(host, folder + "/start");
    if (start.empty())
        return false;
    Storage_BlockDevice partition;
    partition.name = name;
    readNumbers(lineOf(host, folder + "/dev"), partition);
    findNode(host, partition);
    if (partition.path.empty())
        return true;
    partition.kind = Kind::Partition;
    partition.whole = whole.name;
    partition.offsetBytes = Storage_Number(start) * sectorBytes;
    partition.totalBytes = numberOf(host, folder + "/size") * sectorBytes;
    partition.properties = propertiesOf(host, partition);
    whole.partitions.push_back(name);
    devices_.insert_or_assign(name, std::move(partition));
    return true;
}

void Storage_BlockDevices::addMembers(const Storage_BlockDevice& array) {
    for (const Storage_ArrayMember& member : array.members) {
        std::vector<const Storage_BlockDevice*>& arrays = arraysByMember_[member.device];
        if (member.isActive && (arrays.empty() || arrays.back() != &array))
            arrays.push_back(&array);
    }
}

void Storage_BlockDevices::markPaths() {
    for (auto& [name, device] : devices_) {
        if (device.slaves.empty())
            continue;
        if (device.mapUuid.starts_with(multipathPrefix)) {
            for (const std::string& slave : device.slaves)
                if (const auto path = devices_.find(slave); path != devices_.end()) {
                    path->second.kind = Kind::DrivePath;
                    if (device.subsystem.empty()) {
                        device.subsystem = path->second.subsystem;
                        device.vendor = path->second.vendor;
                        device.model = path->second.model;
                        device.serial = path->second.serial;
                    }
                }
        } else if (device.kind == Kind::Partition && device.whole.empty()) {
            // A partition that the mapper cut out of a map.
            device.whole = device.slaves.front();
            device.slaves.clear();
            // sysfs does not tell where; udev's probe counts in the same sectors.
            device.offsetBytes = Storage_Number(device.property("ID_PART_ENTRY_OFFSET")) * sectorBytes;
            if (const auto whole = devices_.find(device.whole); whole != devices_.end()) {
                whole->second.partitions.push_back(name);
                whole->second.isPartitioned = true;
            }
        }
    }
}

const Storage_BlockDevice* Storage_BlockDevices::find(const std::string& name) const {
    const auto found = devices_.find(name);
    return found != devices_.end() ? &found->second : nullptr;
}

const Storage_BlockDevice* Storage_BlockDevices::findByNumber(unsigned major, unsigned minor) const {
    const auto found = byNumber_.find({major, minor});
    return found != byNumber_.end() ? found->second : nullptr;
}

const Storage_BlockDevice* Storage_BlockDevices::findByPath(const std::string& path) const {
    const auto found = byPath_.find(path);
    return found != byPath_.end() ? found->second : nullptr;
}

std::vector<const Storage_BlockDevice*>
Storage_BlockDevices::arraysOf(const Storage_BlockDevice& device) const {
    const auto found = arraysByMember_.find(device.name);
    return found != arraysByMember_.end() ? found->second : std::vector<const Storage_BlockDevice*>();
}

std::vector<const Storage_BlockDevice*> Storage_BlockDevices::below(const Storage_BlockDevice& device) const {
    std::vector<const Storage_BlockDevice*> found = {&device};
    const auto add = [&](const std::string& name) {
        const Storage_BlockDevice* next = find(name);
        if (next != nullptr && std::find(found.begin(), found.end(), next) == found.end())
            found.push_back(next);
    };
    std::size_t next = 0;
    while (next < found.size()) {
        const Storage_BlockDevice& each = *found[next++];
        if (each.kind == Kind::Drive)
            continue;
        if (!each.whole.empty())
            add(each.whole);
        for (const std::string& slave : each.slaves)
            add(slave);
    }
    return found;
}
