#include "qdvctl/Ctl_HostCapture.h"

#include "audit/Storage_HostSystem.h"
#include "base/File_Descriptor.h"
#include "base/String_Functions.h"
#include "exec/ShellCommand_Quote.h"
#include "host/Host_RecordingHost.h"
#include "model/Auditable_TryAudit.h"
#include "model/Storage_Tables.h"
#include "qdvctl/Ctl_Failure.h"
#include "qdvctl/Ctl_Text.h"
#include "storage/Storage_Container.h"

#include <CLI/CLI.hpp>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fnmatch.h>
#include <map>
#include <memory>
#include <mntent.h>
#include <set>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

using Names = std::vector<std::string>;

/// Asked of every host, beside those whose output leads to further questions.
constexpr const char* hostCommands[] = {
    "cat /etc/raidtab",
    "cat /proc/scsi/scsi",
    "fdisk -l ",
    "lsblk -J -b -O",
    "lvs --reportformat json --units b",
    "mount",
    "pvs --reportformat json --units b",
    "vgs --reportformat json --units b",
};
constexpr const char* hostFiles[] = {
    "/proc/mdstat", "/proc/partitions", "/proc/scsi/scsi", "/proc/swaps", "/proc/self/mountinfo",
};
/// Folders of links and nodes.
constexpr const char* linkFolders[] = {"/dev/mapper", "/dev/md", "/sys/block", "/sys/dev/block"};

/// Device names by pattern (fnmatch(3)), and what is asked of those: a command with the device behind it.
struct DeviceCommand {
    const char* names;
    bool onlyWhole;
    const char* command;
};
constexpr DeviceCommand deviceCommands[] = {
    {"*", true, "fdisk -l  "},     {"*", false, "pvdisplay  "},
    {"*", false, "mdadm -Q  "},    {"*", false, "mdadm --examine  "},
    {"md*", false, "mdadm -D   "}, {"md*", false, "mdadm --detail --export "},
};

/// What the kernel's own account holds of a device of such a name.
struct Attribute {
    const char* names;
    const char* file;
};
constexpr Attribute deviceAttributes[] = {
    {"*", "dev"},
    {"*", "size"},
    {"*", "ro"},
    {"*", "removable"},
    {"*", "hidden"},
    {"*", "queue/logical_block_size"},
    {"*", "queue/physical_block_size"},
    {"*", "queue/rotational"},
    {"[hsv]d*", "device/vendor"},
    {"[hs]d*", "device/model"},
    {"[hs]d*", "device/rev"},
    {"[hs]d*", "device/type"},
    {"[hs]d*", "device/wwid"},
    {"[hs]d*", "device/vpd_pg80"},
    {"vd*", "serial"},
    {"nvme*", "wwid"},
    {"nvme*", "nsid"},
    {"nvme*", "device/model"},
    {"nvme*", "device/serial"},
    {"nvme*", "device/firmware_rev"},
    {"nvme*", "device/transport"},
    {"nvme*", "device/subsysnqn"},
    {"mmcblk*", "device/type"},
    {"mmcblk*", "device/name"},
    {"mmcblk*", "device/serial"},
    {"xvd*", "device/devtype"},
    {"xvd*", "device/nodename"},
    {"dm-*", "dm/name"},
    {"dm-*", "dm/uuid"},
    {"loop*", "loop/backing_file"},
    {"md*", "md/level"},
    {"md*", "md/raid_disks"},
    {"md*", "md/array_state"},
    {"md*", "md/metadata_version"},
    {"md*", "md/degraded"},
    {"md*", "md/component_size"},
    {"md*", "md/sync_action"},
};
constexpr const char* partitionAttributes[] = {"dev", "partition", "start", "size", "ro"};
constexpr const char* memberAttributes[] = {"state", "slot", "size"};
constexpr const char* scsiAttributes[] = {"type", "vendor", "model", "rev"};

/// Where an identifier of the volume manager and the name of its group stand, in the old form and the new.
constexpr std::uint64_t headerOffsets[] = {44, 172, 544};
constexpr std::size_t headerLength = 32;

std::string under(const std::string& folder, const std::string& name) {
    return folder + "/" + name;
}

bool matches(const char* pattern, const std::string& name) {
    return fnmatch(pattern, name.c_str(), 0) == 0;
}

Names linesOf(const std::string& text) {
    return string2vector(text, "\n");
}

Names wordsOf(const std::string& line) {
    return string2vector(line, " \t");
}

/// The kernel's name of a device, in which "!" stands for "/", as the path of its node.
std::string nodeOf(std::string name) {
    for (char& character : name)
        if (character == '!')
            character = '/';
    return "/dev/" + name;
}

/// The third words of the lines that begin with these two, as "VG Name  main".
Names namedBy(const std::string& text, const char* first, const char* second) {
    Names found;
    for (const std::string& line : linesOf(text)) {
        const Names words = wordsOf(line);
        if (words.size() > 2 && words[0] == first && words[1] == second)
            found.push_back(words[2]);
    }
    return found;
}

/// Devices and directories of the mounts.
std::vector<std::pair<std::string, std::string>> mountsIn(std::string mtab) {
    std::vector<std::pair<std::string, std::string>> mounts;
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> stream(
        mtab.empty() ? nullptr : fmemopen(mtab.data(), mtab.size(), "r"), std::fclose);
    std::string buffer(std::size_t{64} << 10, '\0');
    mntent entry{};
    while (stream &&
           getmntent_r(stream.get(), &entry, buffer.data(), static_cast<int>(buffer.size())) != nullptr)
        mounts.emplace_back(entry.mnt_fsname, entry.mnt_dir);
    return mounts;
}

class Questions {
public:
    explicit Questions(Host_RecordingHost& host) : host_(host) {}

    void askAll() {
        askSummary();
        askStorage();
        for (const char* command : hostCommands)
            host_.run(command);
        for (const char* file : hostFiles)
            host_.readFile(file);
        for (const char* folder : linkFolders)
            askLinks(folder);
        if (host_.run("which vxprint").valueOr("").starts_with('/'))
            host_.run("vxprint -t");
        const bool hasRaidTab = static_cast<bool>(host_.readFile("/etc/raidtab"));
        findDevices();
        for (const auto& [path, isWhole] : devices_)
            askDevice(path, isWhole, hasRaidTab);
        for (const std::string& name : host_.listFolder("/sys/block").valueOr({}))
            askKernel(name);
        for (const std::string& name : host_.listFolder("/sys/class/scsi_device").valueOr({}))
            for (const char* attribute : scsiAttributes)
                host_.readFile(under("/sys/class/scsi_device/" + name + "/device", attribute));
        askVolumes();
        askMounts();
    }

private:
    /// Whatever the summary asks.
    void askSummary() {
        const auto summary = Storage_FactoryAllocateHostSystem();
        if (!summary || !summary->prepareForAudit())
            throw std::bad_alloc();
        summary->setHost(host_);
        summary->audit();
    }

    /// Whatever the storage audits ask, with the words that arise on this host.
    void askStorage() {
        gStorageContainer = std::make_unique<Storage_Container>();
        for (const Storage_Level& level : Storage_Levels) {
            Storage_Collection* collection = gStorageContainer->allocate(level.type);
            if (collection == nullptr)
                throw std::bad_alloc();
            collection->setHost(host_);
        }
        for (const Storage_Level& level : Storage_Levels)
            if (Storage_Collection& collection = *gStorageContainer->get(level.type);
                !collection.hasAudited())
                Auditable_TryAudit(collection);
        gStorageContainer.reset();
    }

    /// A command for something that was found on the host. What could be taken for an option is left alone.
    std::string ask(const std::string& command, const std::string& word) {
        if (word.empty() || word.front() == '-')
            return "";
        return host_.run(command + ShellCommand_Quote(word)).valueOr("");
    }

    void askLinks(const std::string& folder) {
        for (const std::string& name : host_.listFolder(folder).valueOr({})) {
            host_.readLink(under(folder, name));
            if (folder.starts_with("/dev/"))
                host_.node(under(folder, name));
        }
    }

    /// All drives, and whatever else the kernel counts as a partition.
    void findDevices() {
        std::set<std::string> whole;
        for (const std::string& name : host_.listFolder("/sys/block").valueOr({}))
            whole.insert(nodeOf(name));
        for (const std::string& line : linesOf(host_.run("cat /proc/partitions").valueOr(""))) {
            const Names words = wordsOf(line);
            if (words.size() == 4 && words[0] != "major" && !matches("ram*", words[3]))
                devices_.try_emplace("/dev/" + words[3], whole.contains("/dev/" + words[3]));
        }
        for (std::size_t family = 0; family < Storage_DriveSubsystemDirectory.size(); ++family) {
            const std::string folder = Storage_DriveSubsystemDirectory[family];
            for (const std::string& name : host_.listFolder(folder).valueOr({}))
                if (matches(Storage_DriveSubsystemPattern1[family], name) ||
                    matches(Storage_DriveSubsystemPattern2[family], name))
                    devices_[under(folder, name)] = true;
        }
    }

    void askDevice(const std::string& path, bool isWhole, bool hasRaidTab) {
        host_.node(path);
        if (const auto opened = host_.openDevice(path)) {
            Host_Device& device = **opened;
            if (isWhole) {
                device.scsiAddress();
                device.inquiry();
                device.identity();
            }
            for (const std::uint64_t offset : headerOffsets)
                device.read(offset, headerLength);
        }
        const std::string name = path.substr(path.rfind('/') + 1);
        for (const DeviceCommand& row : deviceCommands)
            if (matches(row.names, name) && (isWhole || !row.onlyWhole))
                ask(row.command, path);
        if (hasRaidTab)
            ask("lsraid -A -d  ", path);
        if (matches("hd*", name) && isWhole)
            host_.run("cat /proc/ide/" + name + "/media");
    }

    /// The kernel's own account of a whole device and its partitions.
    void askKernel(const std::string& name) {
        const std::string folder = "/sys/block/" + name;
        if (matches("ram*", name) || host_.readFile(folder + "/size").valueOr("") == "0\n")
            return;
        for (const Attribute& attribute : deviceAttributes)
            if (matches(attribute.names, name))
                host_.readFile(under(folder, attribute.file));
        for (const char* links : {"slaves", "holders"})
            host_.listFolder(under(folder, links));
        askUdev(folder);
        for (const std::string& entry : host_.listFolder(folder).valueOr({}))
            if (entry.starts_with(name))
                askPartition(under(folder, entry));
        if (!matches("md*", name))
            return;
        for (const std::string& entry : host_.listFolder(folder + "/md").valueOr({}))
            if (entry.starts_with("dev-"))
                for (const char* attribute : memberAttributes)
                    host_.readFile(under(under(under(folder, "md"), entry), attribute));
    }

    void askPartition(const std::string& folder) {
        for (const char* attribute : partitionAttributes)
            host_.readFile(under(folder, attribute));
        host_.listFolder(folder + "/holders");
        askUdev(folder);
    }

    void askUdev(const std::string& folder) {
        const Names number = linesOf(host_.readFile(folder + "/dev").valueOr(""));
        if (!number.empty())
            host_.readFile("/run/udev/data/b" + number.front());
    }

    void askVolumes() {
        for (const std::string& group : namedBy(host_.run("vgdisplay ").valueOr(""), "VG", "Name"))
            ask("lvs --segments ", group);
        const std::string volumes = host_.run("lvdisplay ").valueOr("");
        for (const char* word : {"Name", "Path"})
            for (const std::string& path : namedBy(volumes, "LV", word))
                if (path.starts_with('/')) {
                    host_.readLink(path);
                    host_.node(path);
                }
    }

    void askMounts() {
        for (const auto& [device, directory] : mountsIn(host_.readFile("/etc/mtab").valueOr(""))) {
            host_.fileSystem(directory);
            // Pseudo file systems have a word there that stands for nothing.
            if (device.find('/') == std::string::npos)
                continue;
            ask("lvdisplay  ", device);
            ask("lvdisplay -v ", device);
            if (device.starts_with("/dev/")) {
                host_.node(device);
                host_.readLink(device);
            }
        }
    }

    Host_RecordingHost& host_;
    std::map<std::string, bool> devices_; ///< by path; whether it is a whole device
};

/// What the tools complain of is not for whoever captures a host: most hosts lack most of them.
class QuietErrors {
public:
    QuietErrors() : before_(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1)) {
        const File_Descriptor nowhere(::open("/dev/null", O_WRONLY | O_CLOEXEC));
        dup2(nowhere.get(), STDERR_FILENO);
    }
    QuietErrors(const QuietErrors&) = delete;
    QuietErrors& operator=(const QuietErrors&) = delete;
    ~QuietErrors() { dup2(before_.get(), STDERR_FILENO); }

private:
    const File_Descriptor before_;
};

/// Makes the folder if it is not there, and works in it from then on. What root captures nobody else may
/// read, nor put links in its way.
void enterEmptyFolder(const std::string& path) {
    const auto refuse = [&](const std::string& why) { throw Ctl_Failure(Ctl_WrongUsage, path + ": " + why); };
    struct stat status {};
    if ((mkdir(path.c_str(), S_IRWXU) != 0 && errno != EEXIST) || chdir(path.c_str()) != 0 ||
        stat(".", &status) != 0)
        refuse(std::strerror(errno));
    if (status.st_uid != geteuid() || (status.st_mode & (S_IWGRP | S_IWOTH)) != 0)
        refuse("others can write to the folder");
    if (!std::filesystem::is_empty("."))
        refuse("the folder is not empty");
}

int capture(const std::string& folder) {
    enterEmptyFolder(folder); // where commands leave their output until it is read, too
    if (geteuid() != 0)
        Ctl_Say("not run by root, so devices and some tools will refuse");
    Host_RecordingHost host(Host_Real());
    {
        const QuietErrors quiet;
        Ctl_AskAll(host);
    }
    const Host_Record record = host.record();
    Host_WriteRecord(record, ".");
    std::printf("%zu answers of this host are recorded in %s\n", record.answers.size(), folder.c_str());
    return Ctl_Succeeded;
}

} // namespace

void Ctl_AskAll(Host_RecordingHost& host) {
    Questions(host).askAll();
}

void Ctl_AddHostCapture(CLI::App& hostCommand, Ctl_Action& chosen) {
    CLI::App* command = hostCommand.add_subcommand(
        "capture", "Record what this machine answers to the audits, in a new folder");
    const auto folder = std::make_shared<std::string>();
    command->add_option("folder", *folder, "a folder that does not exist or is empty")
        ->type_name("")
        ->required();
    command->callback([folder, &chosen] { chosen = [folder] { return capture(*folder); }; });
}
