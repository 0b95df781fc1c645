#include "search/FileSearch_OffsetFile.h"

#include "base/File_Contents.h"
#include "base/File_Descriptor.h"
#include "base/File_Operations.h"
#include "log/Debug_Printf.h"
#include "search/FileSearch_ResultPath.h"

#include <algorithm>
#include <cerrno>
#include <limits>
#include <unistd.h>

namespace {

constexpr const char* offsetEnding = ".offset.dat";
constexpr const char* unfinished = ".new";
constexpr mode_t mode = 0660;

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "offsets are written as they are in memory");

bool failRead() {
    DEBUG_LOG("FileSearch_OffsetFile::readOffsets: error read file : errno %u\n",
              static_cast<unsigned>(errno));
    return false;
}

} // namespace

bool FileSearch_OffsetFile::setPath(const char* name, const char* volume, const char* directory) {
    const std::optional<std::string> path = FileSearch_VolumePath(name, volume, directory, offsetEnding);
    path_ = path.value_or("");
    return path.has_value();
}

bool FileSearch_OffsetFile::doesFileExist(bool& exists) const {
    exists = static_cast<bool>(File_Descriptor(File_Open(path_.c_str(), File_AccessRead, 0)));
    return true;
}

bool FileSearch_OffsetFile::openFile() {
    if (isOpen_)
        return false;
    const File_Descriptor file(File_Open(path_.c_str(), File_AccessRead, 0));
    // Until it is written there is none.
    isOpen_ = file || errno == ENOENT;
    if (!isOpen_)
        DEBUG_LOG("FileSearch_OffsetFile::openFile: error open file %s: errno %u\n", path_.c_str(),
                  static_cast<unsigned>(errno));
    return isOpen_;
}

bool FileSearch_OffsetFile::closeFile() {
    const bool wasOpen = isOpen_;
    isOpen_ = false;
    return wasOpen;
}

bool FileSearch_OffsetFile::writeOffsets(const std::vector<std::uint32_t>* offsets) const {
    return isOpen_ && offsets != nullptr &&
           File_WriteAtomically(
               path_.c_str(), unfinished,
               {reinterpret_cast<const char*>(offsets->data()), offsets->size() * sizeof(std::uint32_t)},
               mode);
}

bool FileSearch_OffsetFile::readOffsets(std::vector<std::uint32_t>* offsets) const {
    return readOffsets(offsets, 0, std::numeric_limits<std::uint64_t>::max());
}

bool FileSearch_OffsetFile::readOffsets(std::vector<std::uint32_t>* offsets, std::uint64_t first,
                                        std::uint64_t count) const {
    if (!isOpen_ || offsets == nullptr)
        return false;
    const File_Descriptor file(File_Open(path_.c_str(), File_AccessRead, 0));
    std::uint64_t end = 0;
    if (!file || !File_Seek(file.get(), 0, end, File_SeekFromEnd))
        return failRead();
    const std::uint64_t all = end / sizeof(std::uint32_t);
    first = std::min(first, all);
    offsets->resize(std::min(count, all - first));
    std::size_t length = offsets->size() * sizeof(std::uint32_t);
    auto* to = reinterpret_cast<char*>(offsets->data());
    auto at = static_cast<std::int64_t>(first * sizeof(std::uint32_t));
    while (length != 0) {
        const ssize_t got = pread(file.get(), to, length, at);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            return failRead();
        length -= static_cast<std::size_t>(got);
        to += got;
        at += got;
    }
    return true;
}
