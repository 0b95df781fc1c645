/// One walk over a tree through the classes of the agent, without the agent around it.
///
///     walk PATH [--map] [--alone] [--store FOLDER]
///
/// --alone reads no directory ahead. Offers each entry to a test of its size that few pass, or stores every
/// entry as a hit in a record file. Prints the number of entries, of hits, of allocations while it walked,
/// and the largest resident memory in KiB.

#include "files/System_FileIteratorLinux.h"
#include "search/FileSearch_OffsetFile.h"
#include "search/FileSearch_RecordFile.h"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <sys/resource.h>
#include <vector>

namespace {

std::atomic<std::size_t> allocations{0};

constexpr std::uint64_t largeFile = std::uint64_t{100} << 20;

struct Finder : System_FileEvaluator {
    bool evaluateFile(System_FileSystemObject* fso, System_Date* /*sDay*/, System_Date* /*eDay*/) override {
        ++entries;
        if (!stores)
            hits += fso->getSize() > largeFile ? 1 : 0;
        else
            store(*fso);
        return true;
    }
    void store(const System_FileSystemObject& fso) {
        std::string text = record.takeData();
        text.clear();
        fso.appendText(text);
        record.setData(std::move(text));
        std::uint32_t offset = 0;
        if (!file.writeRecord(record, offset))
            std::exit(EXIT_FAILURE);
        offsets.push_back(offset);
        ++hits;
    }

    bool stores = false;
    std::size_t entries = 0;
    std::size_t hits = 0;
    FileSearch_Record record;
    FileSearch_RecordFile file;
    std::vector<std::uint32_t> offsets;
};

/// Of this process and of the commands that it ran.
double processorSeconds() {
    double seconds = 0;
    for (const int who : {RUSAGE_SELF, RUSAGE_CHILDREN}) {
        struct rusage usage {};
        getrusage(who, &usage);
        for (const timeval& time : {usage.ru_utime, usage.ru_stime})
            seconds += static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    }
    return seconds;
}

} // namespace

void* operator new(std::size_t size) {
    ++allocations;
    void* const memory = std::malloc(size);
    if (memory == nullptr)
        throw std::bad_alloc();
    return memory;
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}

int main(int argc, char** argv) {
    if (argc < 2)
        return EXIT_FAILURE;
    System_FileIteratorLinux iterator;
    Finder finder;
    const char* folder = nullptr;
    for (int index = 2; index < argc; ++index)
        if (std::strcmp(argv[index], "--map") == 0)
            iterator.setFSOMapRequired(true);
        else if (std::strcmp(argv[index], "--alone") == 0)
            iterator.setReadAhead(System_FileIteratorLinux::ReadAhead::Never);
        else if (std::strcmp(argv[index], "--store") == 0 && index + 1 < argc)
            folder = argv[++index];
    finder.stores = folder != nullptr;
    if (finder.stores && (!finder.file.setPath("walk", argv[1], folder) || !finder.file.openFile() ||
                          !finder.file.createNewFile() || !finder.file.beginWriting()))
        return EXIT_FAILURE;
    iterator.registerPath(argv[1]);
    iterator.registerFileEvaluator(&finder);
    const auto started = std::chrono::steady_clock::now();
    const double used = processorSeconds();
    if (!iterator.prepareForAudit())
        return EXIT_FAILURE;
    const std::size_t before = allocations;
    if (!iterator.audit())
        return EXIT_FAILURE;
    const std::size_t during = allocations - before;
    FileSearch_OffsetFile offsets;
    if (finder.stores && (!finder.file.endWriting() || !offsets.setPath("walk", argv[1], folder) ||
                          !offsets.openFile() || !offsets.writeOffsets(&finder.offsets)))
        return EXIT_FAILURE;
    const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - started;
    struct rusage usage {};
    getrusage(RUSAGE_SELF, &usage);
    std::printf("%zu %zu %zu %ld %f %f\n", finder.entries, finder.hits, during, usage.ru_maxrss, wall.count(),
                processorSeconds() - used);
    return EXIT_SUCCESS;
}
