#include "base/File_Contents.h"

#include "base/File_Descriptor.h"
#include "base/File_Operations.h"
#include "base/Secret_Text.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr std::size_t FirstBlock = 4096;

/// Of a temporary file until it has the owner of the file that it replaces.
constexpr mode_t PrivateMode = 0600;
constexpr mode_t PermissionBits = 07777;

std::optional<struct stat> statusOf(const char* path) {
    struct stat status {};
    if (stat(path, &status) != 0)
        return std::nullopt;
    return status;
}

/// A new, empty file, which nobody else has open. What a writer that was killed has left under the name goes.
File_Descriptor makeTemporary(const char* path, mode_t mode) {
    if (unlink(path) != 0 && errno != ENOENT)
        return File_Descriptor();
    return File_Descriptor(open(path, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOCTTY, mode));
}

/// Gives the temporary file the owner and permissions of the file that it is to replace.
bool takeOver(const File_Descriptor& file, const struct stat& old) {
    return fchown(file.get(), old.st_uid, old.st_gid) == 0 &&
           fchmod(file.get(), old.st_mode & PermissionBits) == 0;
}

/// Makes a rename last. Some file systems cannot; the file is whole either way.
void syncDirectoryOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    const std::string directory = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    const File_Descriptor opened(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (opened)
        fsync(opened.get());
}

template <typename Text>
bool readWhole(const char* path, Text& contents, std::size_t maximum) {
    const File_Descriptor file(open(path, O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
    if (!file)
        return false;
    std::size_t used = 0;
    for (;;) {
        // One byte beyond the limit tells a file of just that size from a larger one.
        contents.resize(std::min(std::max(used * 2, FirstBlock), maximum + 1));
        std::size_t count = 0;
        if (!File_Read(file.get(), contents.data() + used, contents.size() - used, count))
            return false;
        used += count;
        if (used > maximum) {
            errno = EFBIG;
            return false;
        }
        if (count == 0) {
            contents.resize(used);
            return true;
        }
    }
}

} // namespace

bool File_ReadWhole(const char* path, std::string& contents, std::size_t maximum) {
    return readWhole(path, contents, maximum);
}

bool File_ReadWhole(const char* path, Secret_Text& contents, std::size_t maximum) {
    return readWhole(path, contents, maximum);
}

bool File_WriteAtomically(const char* path, const char* suffix, std::string_view contents, mode_t mode) {
    const std::string temporary = std::string(path) + suffix;
    const auto old = statusOf(path);
    const File_Descriptor file = makeTemporary(temporary.c_str(), old ? PrivateMode : mode);
    if (!file)
        return false;
    std::size_t written = 0;
    if ((!old || takeOver(file, *old)) && File_Write(file.get(), contents.data(), contents.size(), written) &&
        File_MoveIntoPlace(file.get(), temporary.c_str(), path))
        return true;
    const int cause = errno;
    unlink(temporary.c_str());
    errno = cause;
    return false;
}

bool File_MoveIntoPlace(int descriptor, const char* temporary, const char* path) {
    if (fsync(descriptor) != 0 || std::rename(temporary, path) != 0)
        return false;
    syncDirectoryOf(path);
    return true;
}
