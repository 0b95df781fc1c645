/// What a large collection of storage objects costs: in memory, to be written and to be read back.

#include "storage/Storage_DriveExtentLinux.h"
#include "storage/Storage_StorageAssociationsLinux.h"
#include "xml/Xerces_Document.h"
#include "xml/Xerces_Layer.h"

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdlib>
#include <malloc.h>
#include <memory>
#include <string>
#include <vector>

namespace {

constexpr int objectCount = 10000;

/// The attributes that a partition in an array of a well-filled host has.
void fill(Storage_DriveExtents& extents) {
    for (int number = 0; number < objectCount; ++number) {
        std::unique_ptr<Storage_DriveExtent> extent = Storage_FactoryAllocateDriveExtent();
        extent->setName(("/dev/disk/by-path/pci-0000:00:1f.2-scsi-" + std::to_string(number)).c_str());
        extent->setPhysicality(Physicality_Logical);
        extent->setVirtualMechanism(VirtualMechanism_LogicalVolumeManager);
        extent->addComposition(Composition_RAID5);
        extent->setIsPartOfStripeSet(true);
        extent->setAllocatedBytes(500107862016);
        extent->setOffsetBytes(1048576);
        extent->setTotalBytes(500107862016);
        extents.insert(std::move(extent));
    }
}

std::size_t heapInUse() {
    const struct mallinfo2 heap = mallinfo2();
    return heap.uordblks + heap.hblkhd;
}

double perObject(std::size_t bytes) {
    return static_cast<double>(bytes) / objectCount;
}

/// The processor time that one object of a run takes.
void reportPerObject(benchmark::State& state) {
    state.counters["per_object"] =
        benchmark::Counter(static_cast<double>(state.iterations()) * objectCount,
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void writeCollection(benchmark::State& state) {
    const std::size_t before = heapInUse();
    Storage_DriveExtentsLinux extents;
    fill(extents);
    state.counters["heap_bytes_per_object"] = perObject(heapInUse() - before);
    std::size_t documentBytes = 0;
    std::size_t textBytes = 0;
    for ([[maybe_unused]] auto iteration : state) {
        const std::size_t beforeDocument = heapInUse();
        const Xerces_DocumentPtr document = Xerces_CreateDocument("Response");
        if (!extents.serialize(document.get(), Xerces_Root(*document), nullptr)) {
            state.SkipWithError("serialize failed");
            break;
        }
        documentBytes = heapInUse() - beforeDocument;
        const std::string text = Xerces_Serialize(*document);
        textBytes = text.size();
        benchmark::DoNotOptimize(text.data());
    }
    state.counters["document_bytes_per_object"] = perObject(documentBytes);
    state.counters["text_bytes_per_object"] = perObject(textBytes);
    reportPerObject(state);
}
BENCHMARK(writeCollection)->Unit(benchmark::kMillisecond);

void readCollection(benchmark::State& state) {
    std::string text;
    {
        Storage_DriveExtentsLinux extents;
        fill(extents);
        const Xerces_DocumentPtr document = Xerces_CreateDocument("Response");
        if (extents.serialize(document.get(), Xerces_Root(*document), nullptr))
            text = Xerces_Serialize(*document);
    }
    for ([[maybe_unused]] auto iteration : state) {
        const Xerces_DocumentPtr document = Xerces_Parse(text, "benchmark");
        Storage_DriveExtentsLinux extents;
        if (!document || !extents.parse(Xerces_FirstDescendant(*Xerces_Root(*document), "DriveExtents")) ||
            extents.getMap().size() != objectCount) {
            state.SkipWithError("parse failed");
            break;
        }
    }
    reportPerObject(state);
}
BENCHMARK(readCollection)->Unit(benchmark::kMillisecond);

/// The links of so many partitions: to a drive, to a pool and from there to a plex; each looked up, and all
/// written.
void linkObjects(benchmark::State& state) {
    const auto count = static_cast<int>(state.range(0));
    for ([[maybe_unused]] auto iteration : state) {
        Storage_StorageAssociationsLinux links;
        std::size_t found = 0;
        for (int number = 0; number < count; ++number) {
            const std::string name = "/dev/sd" + std::to_string(number);
            links.addAssociation(name + '1', System_Object::DriveExtent, name, System_Object::PhysicalDrive);
            links.addAssociation(name + '1', System_Object::DriveExtent, "NULLExtentPool_" + name,
                                 System_Object::ExtentPool);
            links.addAssociation("NULLExtentPool_" + name, System_Object::ExtentPool, "NULLPlex_" + name,
                                 System_Object::Plex);
        }
        Storage_DriveExtentLinux extent;
        for (int number = 0; number < count; ++number) {
            extent.setName(("/dev/sd" + std::to_string(number) + '1').c_str());
            std::vector<std::string> drives;
            links.getAssociates(extent, System_Object::PhysicalDrive, drives);
            found += drives.size();
        }
        const Xerces_DocumentPtr document = Xerces_CreateDocument("Response");
        if (found != static_cast<std::size_t>(count) ||
            !links.serialize(document.get(), Xerces_Root(*document), nullptr)) {
            state.SkipWithError("links are missing");
            break;
        }
        const std::string text = Xerces_Serialize(*document);
        benchmark::DoNotOptimize(text.data());
    }
    state.SetComplexityN(count);
}
BENCHMARK(linkObjects)->Arg(1000)->Arg(3000)->Arg(10000)->Unit(benchmark::kMillisecond)->Complexity();

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
