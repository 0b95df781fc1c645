#include "storage/Storage_HostReport.h"

#include "exec/ShellCommand_Quote.h"
#include "log/Debug_Printf.h"
#include "storage/Storage_CheckVersion.h"
#include "storage/Storage_Lines.h"

#include <algorithm>
#include <cerrno>

namespace {

constexpr std::chrono::seconds commandLimit{60};
constexpr std::chrono::minutes requestLimit{10};
/// Before it the tools of their time are the only source.
constexpr std::uint64_t firstLaterSeries = 3;
constexpr const char* groupReport = "vgs --reportformat json --units b -o vg_name,vg_size";
constexpr const char* volumeReport = "pvs --reportformat json --units b -o pv_name,vg_name,pv_size,pv_free";
constexpr const char* segmentReport =
    "lvs --segments --reportformat json --units b -o vg_name,lv_name,segtype";
constexpr const char* mountTable = "/etc/mtab";
constexpr const char* swapTable = "/proc/swaps";
constexpr const char* mountInfo = "/proc/self/mountinfo";

/// Some words come from output that users have a hand in; one that begins with "-" would be an option.
bool isWord(const std::string& word) {
    return !word.empty() && word.front() != '-' && word.find('\0') == std::string::npos;
}

} // namespace

Storage_HostReport::Storage_HostReport(Host_Host& host)
    : host_(host), deadline_(std::chrono::steady_clock::now() + requestLimit) {}

std::chrono::milliseconds Storage_HostReport::timeLeft() const {
    return std::chrono::ceil<std::chrono::milliseconds>(deadline_ - std::chrono::steady_clock::now());
}

Host_Answer<std::unique_ptr<Host_Device>> Storage_HostReport::openDevice(const std::string& path) {
    using Answer = Host_Answer<std::unique_ptr<Host_Device>>;
    return timeLeft().count() > 0 ? host_.openDevice(path) : Answer::failure(ETIMEDOUT);
}

Host_Answer<Host_FileSystem> Storage_HostReport::fileSystem(const std::string& mountPoint) {
    return timeLeft().count() > 0 ? host_.fileSystem(mountPoint)
                                  : Host_Answer<Host_FileSystem>::failure(ETIMEDOUT);
}

std::optional<std::string> Storage_HostReport::run(const std::string& command) {
    const std::chrono::milliseconds left = timeLeft();
    if (left <= std::chrono::milliseconds::zero()) {
        DEBUG_LOG("Storage_HostReport: the request takes too long, not run: %s\n", command.c_str());
        return std::nullopt;
    }
    Host_Limits limits;
    limits.time = std::min<std::chrono::milliseconds>(commandLimit, left);
    Host_Answer<std::string> output = host_.run(command, limits);
    return output ? std::optional(std::move(*output)) : std::nullopt;
}

template <typename Value, typename Reader>
const Value* Storage_HostReport::ask(Answers<Value>& answers, const std::string& word,
                                     const std::string& command, Reader read) {
    const auto [entry, isNew] = answers.try_emplace(word);
    std::optional<Value>& answer = entry->second;
    if (isNew)
        if (const std::optional<std::string> output = run(command))
            answer = read(*output);
    if (answer)
        return &*answer;
    failedCommand_ = command;
    return nullptr;
}

template <typename Value, typename Reader>
const Value* Storage_HostReport::askAbout(Answers<Value>& answers, const std::string& word,
                                          const char* before, const char* after, Reader read) {
    if (isWord(word))
        return ask(answers, word, before + ShellCommand_Quote(word) + after, read);
    failedCommand_ = before + word + after;
    return nullptr;
}

const std::string* Storage_HostReport::release() {
    const std::string* release = ask(release_, "", "uname -r", [](std::string text) { return text; });
    if (release == nullptr)
        DEBUG_LOG("Storage_CheckVersion: OS command failed: %s\n", failedCommand_.c_str());
    return release;
}

bool Storage_HostReport::isKernel(const char* version) {
    const std::string* text = release();
    return text != nullptr && Storage_ReleaseHasVersion(*text, version);
}

bool Storage_HostReport::isLaterKernel() {
    const std::string* text = release();
    return text != nullptr && Storage_Number(*text) >= firstLaterSeries;
}

const Storage_BlockDevices* Storage_HostReport::blockDevices() {
    if (!isLaterKernel())
        return nullptr;
    if (!blockDevices_)
        blockDevices_.emplace(host_);
    return blockDevices_->areKnown() ? &*blockDevices_ : nullptr;
}

const Storage_BlockDevice* Storage_HostReport::blockDevice(const std::string& path) {
    const Storage_BlockDevices* devices = path.starts_with('/') ? blockDevices() : nullptr;
    if (devices == nullptr)
        return nullptr;
    if (const auto known = nodes_.find(path); known != nodes_.end())
        return known->second;
    // Whoever mounts something chooses its device's name, which may lie on a mount that never answers.
    const Host_Answer<Host_Node> node =
        timeLeft().count() > 0 ? host_.node(path) : Host_Answer<Host_Node>::failure(ETIMEDOUT);
    const bool isBlock = node && node->kind == Host_Node::Block;
    return nodes_.emplace(path, isBlock ? devices->findByNumber(node->major, node->minor) : nullptr)
        .first->second;
}

const Storage_BlockDevice* Storage_HostReport::mountedDevice(const std::string& device,
                                                             const std::string& mountPoint) {
    const Storage_BlockDevice* named = blockDevice(device);
    const Storage_BlockDevices* devices = blockDevices();
    if (named != nullptr || devices == nullptr)
        return named;
    if (!mountDevices_) {
        std::map<std::string, Storage_MountDevice> found;
        for (const Storage_MountDevice& each : Storage_ReadMountInfo(host_.readFile(mountInfo).valueOr({})))
            found.try_emplace(each.mountPoint, each);
        mountDevices_ = std::move(found);
    }
    const auto mount = mountDevices_->find(mountPoint);
    return mount != mountDevices_->end() ? devices->findByNumber(mount->second.major, mount->second.minor)
                                         : nullptr;
}

std::set<const Storage_BlockDevice*> Storage_HostReport::swapDevices() {
    std::set<const Storage_BlockDevice*> devices;
    if (blockDevices() != nullptr)
        for (const std::string& place : Storage_ReadSwaps(host_.readFile(swapTable).valueOr({})))
            if (const Storage_BlockDevice* device = blockDevice(place))
                devices.insert(device);
    return devices;
}

const Storage_HostReport::FdiskListing* Storage_HostReport::fdiskListing() {
    return ask(fdiskListing_, "", "fdisk -l ", [](const std::string& text) {
        return FdiskListing{Storage_ReadFdiskPartitions(text), Storage_IsFdiskForm(text)};
    });
}

const Storage_BlockDevices* Storage_HostReport::partitionsOfKernel() {
    const Storage_BlockDevices* devices = blockDevices();
    if (devices == nullptr)
        return nullptr;
    const FdiskListing* listing = fdiskListing();
    return listing == nullptr || !listing->isFdiskForm ? devices : nullptr;
}

const Storage_FdiskDrive* Storage_HostReport::fdisk(const std::string& drive) {
    if (partitionsOfKernel() != nullptr)
        if (const Storage_BlockDevice* device = blockDevice(drive)) {
            std::optional<Storage_FdiskDrive>& answer = drivesOfKernel_[drive];
            answer = Storage_DriveOfKernel(*device);
            return &*answer;
        }
    const bool isKernel24 = isKernel("2.4");
    return askAbout(fdisk_, drive, "fdisk -l  ", "",
                    [&](const std::string& text) { return Storage_ReadFdiskDrive(text, drive, isKernel24); });
}

const std::vector<Storage_FdiskPartition>* Storage_HostReport::partitions() {
    if (const Storage_BlockDevices* devices = partitionsOfKernel()) {
        if (!partitionsOfKernel_)
            partitionsOfKernel_ = Storage_PartitionsOfKernel(*devices);
        return &*partitionsOfKernel_;
    }
    const FdiskListing* listing = fdiskListing();
    return listing != nullptr ? &listing->partitions : nullptr;
}

const Storage_HostReport::GroupListing* Storage_HostReport::groupListing() {
    return ask(groupListing_, "", "vgdisplay ", [](const std::string& text) {
        return GroupListing{Storage_ReadVolumeGroups(text), Storage_IsVolumeGroupForm(text)};
    });
}

bool Storage_HostReport::hasVolumeReports() {
    if (!hasVolumeReports_) {
        const GroupListing* listing = blockDevices() != nullptr ? groupListing() : nullptr;
        // A manager that hangs is not asked once for each device either.
        hasVolumeReports_ = blockDevices() != nullptr && (listing == nullptr || !listing->isVolumeGroupForm);
        DEBUG_LOG("Storage_HostReport: of volume groups tell %s\n",
                  *hasVolumeReports_ ? "reports in bytes" : "vgdisplay, pvdisplay and lvs");
    }
    return *hasVolumeReports_;
}

template <typename Key, typename Value>
const Value* Storage_HostReport::pick(const std::map<Key, Value>* report, const Key& key) {
    if (report == nullptr)
        return nullptr;
    static const Value nothing;
    const auto found = report->find(key);
    return found != report->end() ? &found->second : &nothing;
}

const Storage_PhysicalVolume* Storage_HostReport::physicalVolume(const std::string& device) {
    if (const Storage_BlockDevice* known = blockDevice(device); known != nullptr && hasVolumeReports()) {
        return pick(ask(volumeReport_, "", volumeReport,
                        [this](const std::string& text) {
                            std::map<const Storage_BlockDevice*, Storage_PhysicalVolume> found;
                            for (auto& [path, volume] : Storage_ReadPhysicalVolumeReport(text))
                                if (const Storage_BlockDevice* each = blockDevice(path))
                                    found.emplace(each, volume);
                            return found;
                        }),
                    known);
    }
    return askAbout(physicalVolumes_, device, "pvdisplay  ", "", Storage_ReadPhysicalVolume);
}

const std::vector<Storage_VolumeGroup>* Storage_HostReport::volumeGroups() {
    const GroupListing* listing = groupListing();
    const bool isEmpty = listing != nullptr && listing->groups.empty();
    if (!isEmpty && hasVolumeReports()) {
        const auto* groups = ask(groupReport_, "", groupReport, Storage_ReadVolumeGroupReport);
        if (groups != nullptr && !groups->empty())
            return groups;
    }
    return listing != nullptr ? &listing->groups : nullptr;
}

const Storage_Segment* Storage_HostReport::segment(const std::string& group) {
    if (hasVolumeReports())
        return pick(ask(segmentReport_, "", segmentReport, Storage_ReadSegmentReport), group);
    return askAbout(segments_, group, "lvs --segments ", "",
                    [&](const std::string& text) { return Storage_ReadSegment(text, group); });
}

const std::vector<Storage_LogicalVolume>* Storage_HostReport::logicalVolumes() {
    return ask(logicalVolumes_, "", "lvdisplay ", Storage_ReadLogicalVolumes);
}

const Storage_LogicalVolumeOf* Storage_HostReport::logicalVolume(const std::string& device) {
    if (hasVolumeReports()) {
        // The kernel knows the devices of all logical volumes.
        static const Storage_LogicalVolumeOf none;
        return &none;
    }
    return askAbout(logicalVolumesOf_, device, "lvdisplay  ", "", Storage_ReadLogicalVolumeOf);
}

const Storage_Raidtab* Storage_HostReport::raidtab() {
    return ask(raidtab_, "", "cat /etc/raidtab", Storage_ReadRaidtab);
}

const Storage_LsraidState* Storage_HostReport::lsraid(const std::string& device) {
    return askAbout(lsraid_, device, "lsraid -A -d  ", "", Storage_ReadLsraid);
}

const Storage_MdadmQuery* Storage_HostReport::mdadmQuery(const std::string& device) {
    return askAbout(mdadmQueries_, device, "mdadm -Q  ", "", Storage_ReadMdadmQuery);
}

const Storage_MdadmExamine* Storage_HostReport::mdadmExamine(const std::string& device) {
    return askAbout(mdadmExamines_, device, "mdadm --examine  ", "", Storage_ReadMdadmExamine);
}

const Storage_MdadmDetail* Storage_HostReport::mdadmDetail(const std::string& array) {
    const Storage_MdadmDetail* told =
        askAbout(mdadmDetails_, array, "mdadm -D   ", "",
                 [&](const std::string& text) { return Storage_ReadMdadmDetail(text, array); });
    const Storage_BlockDevice* known = blockDevice(array);
    if (known == nullptr || !known->level)
        return told;
    const auto [answer, isNew] = detailsOfKernel_.try_emplace(array);
    if (isNew) {
        DEBUG_LOG("Storage_HostReport: of %s %s\n", array.c_str(),
                  told != nullptr && told->level ? "mdadm tells, and the kernel" : "the kernel tells");
        answer->second =
            Storage_DetailOfKernel(told != nullptr ? *told : Storage_MdadmDetail(), *known, *blockDevices());
    }
    return &answer->second;
}

const std::vector<Storage_ScsiSection>* Storage_HostReport::scsiSections() {
    return ask(scsiSections_, "", "cat /proc/scsi/scsi", Storage_ReadScsiSections);
}

const std::string* Storage_HostReport::ideMedia(const std::string& name) {
    return askAbout(ideMedia_, name, "cat /proc/ide/", "/media", Storage_ReadIdeMedia);
}

const std::vector<Storage_KernelPartition>* Storage_HostReport::kernelPartitions() {
    return ask(kernelPartitions_, "", "cat /proc/partitions", Storage_ReadKernelPartitions);
}

const std::vector<Storage_Mount>* Storage_HostReport::mounts() {
    const auto [answer, isNew] = mounts_.try_emplace(std::string());
    if (isNew)
        if (const Host_Answer<std::string> text = host_.readFile(mountTable))
            answer->second = Storage_ReadMounts(*text);
    return answer->second ? &*answer->second : nullptr;
}

Host_Answer<const Storage_LogicalVolume*> Storage_HostReport::logicalVolumeAt(const std::string& target) {
    using Answer = Host_Answer<const Storage_LogicalVolume*>;
    if (const auto known = linkedVolumes_.find(target); known != linkedVolumes_.end())
        return known->second;
    const std::vector<Storage_LogicalVolume>* volumes = logicalVolumes();
    while (volumes != nullptr && linkError_ == 0 && linksRead_ < volumes->size()) {
        const Storage_LogicalVolume& volume = (*volumes)[linksRead_];
        const Host_Answer<std::string> link = host_.readLink(volume.path);
        if (!link) {
            linkError_ = link.error();
            break;
        }
        ++linksRead_;
        linkedVolumes_.try_emplace(*link, &volume);
        if (*link == target)
            return &volume;
    }
    return linkError_ == 0 ? Answer(nullptr) : Answer::failure(linkError_);
}
