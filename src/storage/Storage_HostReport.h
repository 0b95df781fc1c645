#pragma once

#include "host/Host_Host.h"
#include "storage/Storage_BlockDevices.h"
#include "storage/Storage_FdiskReader.h"
#include "storage/Storage_LVMReader.h"
#include "storage/Storage_ProcReader.h"
#include "storage/Storage_RaidReader.h"

#include <chrono>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

/// What one storage request has learnt from the host's tools: the only list of their commands. A command runs
/// once for each word that it is asked about, when it is first asked; its output is read at once into a small
/// value and only that is kept, also that it failed. Gone with the request.
///
/// A null answer means that the command could not be run: it hung, the request has taken too long, or the
/// word is none for a command line (it is empty, begins with "-" or holds a zero byte). A tool that is
/// missing or knows nothing gives a value that says nothing. Answers stay valid as long as the report. For
/// the thread that audits.
class Storage_HostReport {
public:
    /// `host` outlives the report.
    explicit Storage_HostReport(Host_Host& host);
    Storage_HostReport(const Storage_HostReport&) = delete;
    Storage_HostReport& operator=(const Storage_HostReport&) = delete;

    /// As of the host, but once the request has taken too long they fail with ETIMEDOUT, unasked: each of
    /// many dead devices and mounts costs some seconds.
    Host_Answer<std::unique_ptr<Host_Device>> openDevice(const std::string& path);
    Host_Answer<Host_FileSystem> fileSystem(const std::string& mountPoint);

    /// The command line behind the last null answer, for the log.
    const std::string& failedCommand() const { return failedCommand_; }

    /// Storage_CheckVersion, which asks the host once.
    bool isKernel(const char* version);
    /// Of series 3 or later.
    bool isLaterKernel();
    /// The kernel's own account of its devices. Null before series 3, and where there is no sysfs.
    const Storage_BlockDevices* blockDevices();
    /// Of a node, by its numbers; soft links are followed. Null where there is no account, or none of it.
    const Storage_BlockDevice* blockDevice(const std::string& path);
    /// What is mounted there, if the node that the table of mounts names does not say so.
    const Storage_BlockDevice* mountedDevice(const std::string& device, const std::string& mountPoint);

    /// What the kernel swaps to, apart from files. Empty where there is no account.
    std::set<const Storage_BlockDevice*> swapDevices();

    const Storage_FdiskDrive* fdisk(const std::string& drive);
    const std::vector<Storage_FdiskPartition>* partitions();
    const Storage_PhysicalVolume* physicalVolume(const std::string& device);
    const std::vector<Storage_VolumeGroup>* volumeGroups();
    const Storage_Segment* segment(const std::string& group);
    const std::vector<Storage_LogicalVolume>* logicalVolumes();
    /// Of a device that is none of the kernel's account.
    const Storage_LogicalVolumeOf* logicalVolume(const std::string& device);
    const Storage_Raidtab* raidtab();
    const Storage_LsraidState* lsraid(const std::string& device);
    const Storage_MdadmQuery* mdadmQuery(const std::string& device);
    const Storage_MdadmExamine* mdadmExamine(const std::string& device);
    const Storage_MdadmDetail* mdadmDetail(const std::string& array);
    const std::vector<Storage_ScsiSection>* scsiSections();
    const std::string* ideMedia(const std::string& name);
    const std::vector<Storage_KernelPartition>* kernelPartitions();
    /// Null if there is no table of mounts.
    const std::vector<Storage_Mount>* mounts();
    /// The first of `logicalVolumes` whose soft link says `target`; null if none does. Fails like the first
    /// link that cannot be read before it. Each link is read once, when a search first comes to it.
    Host_Answer<const Storage_LogicalVolume*> logicalVolumeAt(const std::string& target);

private:
    /// By the word asked about; empty for a command without one.
    template <typename Value>
    using Answers = std::map<std::string, std::optional<Value>, std::less<>>;

    /// `read` makes a value of the output.
    template <typename Value, typename Reader>
    const Value* ask(Answers<Value>& answers, const std::string& word, const std::string& command,
                     Reader read);
    /// The word stands between the two constant pieces of the command line.
    template <typename Value, typename Reader>
    const Value* askAbout(Answers<Value>& answers, const std::string& word, const char* before,
                          const char* after, Reader read);
    std::optional<std::string> run(const std::string& command);
    std::chrono::milliseconds timeLeft() const;

    Host_Host& host_;
    const std::chrono::steady_clock::time_point deadline_;
    std::string failedCommand_;

    const std::string* release();
    /// What fdisk says of all disks at once.
    struct FdiskListing {
        std::vector<Storage_FdiskPartition> partitions;
        bool isFdiskForm = false;
    };
    const FdiskListing* fdiskListing();
    struct GroupListing {
        std::vector<Storage_VolumeGroup> groups;
        bool isVolumeGroupForm = false;
    };
    const GroupListing* groupListing();
    /// Whether the volume manager speaks a form that is not read, and so is asked for its reports.
    bool hasVolumeReports();
    /// What a report about everything says of one thing; null if there is no report.
    template <typename Key, typename Value>
    static const Value* pick(const std::map<Key, Value>* report, const Key& key);
    /// Where it tells of partitions because fdisk speaks a form that is not read; otherwise null.
    const Storage_BlockDevices* partitionsOfKernel();

    Answers<std::string> release_;
    std::optional<Storage_BlockDevices> blockDevices_;
    std::map<std::string, const Storage_BlockDevice*> nodes_;
    Answers<Storage_FdiskDrive> fdisk_;
    Answers<Storage_FdiskDrive> drivesOfKernel_;
    Answers<FdiskListing> fdiskListing_;
    std::optional<std::vector<Storage_FdiskPartition>> partitionsOfKernel_;
    /// By mount point, the first of each.
    std::optional<std::map<std::string, Storage_MountDevice>> mountDevices_;
    Answers<Storage_PhysicalVolume> physicalVolumes_;
    Answers<GroupListing> groupListing_;
    std::optional<bool> hasVolumeReports_;
    Answers<std::vector<Storage_VolumeGroup>> groupReport_;
    /// By the device that the node leads to.
    Answers<std::map<const Storage_BlockDevice*, Storage_PhysicalVolume>> volumeReport_;
    Answers<Storage_Segment> segments_;
    Answers<std::map<std::string, Storage_Segment>> segmentReport_;
    Answers<std::vector<Storage_LogicalVolume>> logicalVolumes_;
    Answers<Storage_LogicalVolumeOf> logicalVolumesOf_;
    Answers<Storage_Raidtab> raidtab_;
    Answers<Storage_LsraidState> lsraid_;
    Answers<Storage_MdadmQuery> mdadmQueries_;
    Answers<Storage_MdadmExamine> mdadmExamines_;
    Answers<Storage_MdadmDetail> mdadmDetails_;
    std::map<std::string, Storage_MdadmDetail> detailsOfKernel_;
    Answers<std::vector<Storage_ScsiSection>> scsiSections_;
    Answers<std::string> ideMedia_;
    Answers<std::vector<Storage_KernelPartition>> kernelPartitions_;
    Answers<std::vector<Storage_Mount>> mounts_;
    /// The logical volumes so far by what their links say, and how many have been read.
    std::map<std::string, const Storage_LogicalVolume*> linkedVolumes_;
    std::size_t linksRead_ = 0;
    /// With which the next link could not be read; 0 before that.
    int linkError_ = 0;
};
