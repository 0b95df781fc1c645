/// What an audit of all levels costs apart from its commands and devices, on hosts of different size: they
/// are held in memory and answer at once.

#include "host/Host_Host.h"
#include "model/Auditable_TryAudit.h"
#include "storage/Storage_Container.h"
#include "storage/Storage_DriveExtent.h"
#include "storage/Storage_PhysicalDrive.h"
#include "storage/Storage_StorageAssociations.h"
#include "storage/Storage_StorageVolume.h"
#include "xml/Xerces_Document.h"
#include "xml/Xerces_Layer.h"

#include <benchmark/benchmark.h>

#include <cerrno>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

namespace {

constexpr unsigned diskMajor = 8;
constexpr int partitionsOfDrive = 14;

/// Any device's bytes: no member of anything.
class BlankDevice : public Host_Device {
public:
    Host_Answer<Host_ScsiAddress> scsiAddress() override { return Host_ScsiAddress(); }
    Host_Answer<std::string> inquiry() override { return std::string(inquiryLength, ' '); }
    Host_Answer<std::string> identity() override { return std::string(identityLength, ' '); }
    Host_Answer<std::string> read(std::uint64_t, std::size_t length) override {
        return std::string(length, '\0');
    }
};

class HeldHost : public Host_Host {
public:
    Host_Answer<std::string> readFile(const std::string& path) override { return find(files, path); }
    Host_Answer<std::vector<std::string>> listFolder(const std::string& path) override {
        return find(folders, path);
    }
    Host_Answer<std::string> readLink(const std::string& path) override { return find(links, path); }
    Host_Answer<Host_Node> node(const std::string& path) override { return find(nodes, path); }
    Host_Answer<Host_FileSystem> fileSystem(const std::string&) override { return Host_FileSystem(); }
    Host_Answer<std::unique_ptr<Host_Device>> openDevice(const std::string&) override {
        return std::unique_ptr<Host_Device>(std::make_unique<BlankDevice>());
    }
    Host_Answer<std::string> hostName() override { return std::string("host"); }
    Host_Answer<std::string> domainName() override { return std::string("(none)"); }
    Host_Answer<int> gmtOffset() override { return 0; }
    Host_Answer<bool> daylightSaving() override { return false; }

    template <typename Value>
    using Answers = std::unordered_map<std::string, Value>;
    Answers<std::string> commands;
    Answers<std::string> files;
    Answers<std::vector<std::string>> folders;
    Answers<std::string> links;
    Answers<Host_Node> nodes;

protected:
    Host_Answer<std::string> runWithin(const std::string& command, const Host_Limits&) override {
        const auto found = commands.find(command);
        return found != commands.end() ? found->second : std::string();
    }

private:
    template <typename Value>
    static Host_Answer<Value> find(const Answers<Value>& answers, const std::string& key) {
        const auto found = answers.find(key);
        return found != answers.end() ? Host_Answer<Value>(found->second)
                                      : Host_Answer<Value>::failure(ENOENT);
    }
};

std::string folderOf(int number) {
    return "/srv/" + std::to_string(number);
}

void mount(HeldHost& host, const std::string& device, const std::string& folder, unsigned minor) {
    host.files["/etc/mtab"] += device + ' ' + folder + " ext4 rw 0 0\n";
    host.files["/proc/self/mountinfo"] +=
        "30 1 8:" + std::to_string(minor) + " / " + folder + " rw - ext4 " + device + " rw\n";
}

/// Half of the objects are partitions with a mounted file system, half are such file systems; of these every
/// other is mounted by a name that is no node, as those of a pool or in containers are.
void fillLater(HeldHost& host, int count) {
    host.commands["uname -r"] = "6.1.0\n";
    host.commands["fdisk -l "] = "Disk /dev/x: 1 GiB, 1 bytes, 1 sectors\n";
    for (int number = 0; number < count / 2; ++number) {
        const int drive = number / partitionsOfDrive;
        const std::string whole = "disk" + std::to_string(drive) + 'n';
        const std::string name = whole + 'p' + std::to_string(number % partitionsOfDrive);
        const auto addNode = [&](const std::string& folder, const std::string& node, unsigned minor) {
            host.files[folder + "/dev"] = "8:" + std::to_string(minor) + '\n';
            host.files[folder + "/size"] = "2048\n";
            host.nodes["/dev/" + node] = {Host_Node::Block, diskMajor, minor};
        };
        if (number % partitionsOfDrive == 0) {
            host.folders["/sys/block"].push_back(whole);
            addNode("/sys/block/" + whole, whole, static_cast<unsigned>(count + drive));
            host.links["/sys/block/" + whole + "/device/subsystem"] = "../../bus/virtio";
        }
        const std::string folder = "/sys/block/" + whole + '/' + name;
        host.folders["/sys/block/" + whole].push_back(name);
        host.files[folder + "/start"] = "2048\n";
        addNode(folder, name, static_cast<unsigned>(number));
        mount(host, number % 2 == 0 ? "/dev/" + name : "pool/" + name, folderOf(number),
              static_cast<unsigned>(number));
    }
}

/// A mounted logical volume for each partition, on a kernel whose tools are the only source.
void fillEarlier(HeldHost& host, int count) {
    host.commands["uname -r"] = "2.6.9\n";
    std::string& table = host.commands["fdisk -l "];
    std::string& volumes = host.commands["lvdisplay "];
    for (int number = 0; number < count / 2; ++number) {
        const std::string whole = "/dev/sd" + std::to_string(number / partitionsOfDrive);
        if (number % partitionsOfDrive == 0)
            table += "\nDisk " + whole +
                     ": 8.2 GB, 8225280000 bytes\n255 heads, 63 sectors/track, 1000 cylinders\n"
                     "Units = cylinders of 16065 * 512 = 8225280 bytes\n\n"
                     "   Device Boot      Start         End      Blocks   Id  System\n";
        table += whole + 'p' + std::to_string(number % partitionsOfDrive) + "  1  100  803250  83  Linux\n";
        const std::string volume = "/dev/vg/v" + std::to_string(number);
        volumes += "  LV Name                " + volume + "\n  VG Name                vg\n";
        host.links[volume] = "/dev/mapper/vg-v" + std::to_string(number);
        mount(host, host.links[volume], folderOf(number), static_cast<unsigned>(number));
    }
}

void auditAll(benchmark::State& state, void (*fillHost)(HeldHost&, int)) {
    const auto count = static_cast<int>(state.range(0));
    HeldHost host;
    fillHost(host, count);
    for ([[maybe_unused]] auto iteration : state) {
        gStorageContainer = std::make_unique<Storage_Container>();
        bool isAudited = true;
        const Xerces_DocumentPtr document = Xerces_CreateDocument("Response");
        std::vector<Storage_Collection*> collections;
        for (const Storage_Level& level : Storage_Levels) {
            collections.push_back(gStorageContainer->allocate(level.type));
            collections.back()->setHost(host);
        }
        for (Storage_Collection* collection : collections)
            isAudited = (collection->hasAudited() || Auditable_TryAudit(*collection)) && isAudited;
        for (Storage_Collection* collection : collections)
            isAudited = collection->serialize(document.get(), Xerces_Root(*document), nullptr) && isAudited;
        const std::string text = Xerces_Serialize(*document);
        benchmark::DoNotOptimize(text.data());
        const auto half = static_cast<std::size_t>(count / 2);
        if (!isAudited || gStorageContainer->getDriveExtents()->getMap().size() != half ||
            gStorageContainer->getStorageVolumes()->getMap().size() != half) {
            state.SkipWithError("objects are missing");
            break;
        }
    }
    gStorageContainer.reset();
    state.SetComplexityN(count);
}
void auditLater(benchmark::State& state) {
    auditAll(state, fillLater);
}
void auditEarlier(benchmark::State& state) {
    auditAll(state, fillEarlier);
}
BENCHMARK(auditLater)->Arg(1000)->Arg(3000)->Arg(10000)->Unit(benchmark::kMillisecond)->Complexity();
BENCHMARK(auditEarlier)->Arg(1000)->Arg(3000)->Arg(10000)->Unit(benchmark::kMillisecond)->Complexity();

} // namespace

int main(int argc, char** argv) {
    if (!Xerces_LayerInit())
        return EXIT_FAILURE;
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    Xerces_LayerCleanup();
    return EXIT_SUCCESS;
}
