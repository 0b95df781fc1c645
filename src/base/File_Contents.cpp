#include "base/File_Contents.h"

#include "base/File_Descriptor.h"
#include "base/File_Operations.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <optional>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr std::size_t FirstBlock = 4096;

/// What is given up on, if others make and remove the temporary file faster than it can be taken.
constexpr int MaximumAttempts = 1000;

/// Of a temporary file until it has the owner of the file that it replaces.
constexpr mode_t PrivateMode = 0600;
constexpr mode_t PermissionBits = 07777;

std::optional<struct stat> statusOf(const char* path) {
    struct stat status {};
    if (stat(path, &status) != 0)
        return std::nullopt;
    return status;
}

std::optional<struct stat> statusOf(const File_Descriptor& file) {
    struct stat status {};
    if (fstat(file.get(), &status) != 0)
        return std::nullopt;
    return status;
}

/// Waits for another writer of the same file. A file system without locks leaves writers to their luck.
void lockFile(const File_Descriptor& file) {
    while (flock(file.get(), LOCK_EX) != 0 && errno == EINTR) {
    }
}

bool isNamed(const File_Descriptor& file, const char* path) {
    struct stat named {};
    const auto opened = statusOf(file);
    return opened && lstat(path, &named) == 0 && named.st_dev == opened->st_dev &&
           named.st_ino == opened->st_ino;
}

/// A new, empty, locked file. One that exists is either a leftover, which goes, or another writer's, whose
/// lock is waited for. Whoever gets a lock looks whether the name still means the locked file.
File_Descriptor makeTemporary(const char* path, mode_t mode) {
    constexpr int flags = O_WRONLY | O_CLOEXEC | O_NOFOLLOW | O_NOCTTY;
    for (int attempt = 0; attempt < MaximumAttempts; ++attempt) {
        File_Descriptor file(open(path, flags | O_CREAT | O_EXCL, mode));
        const bool made = static_cast<bool>(file);
        if (!made) {
            if (errno != EEXIST)
                break;
            file.reset(open(path, flags | O_NONBLOCK));
        }
        if (file) {
            lockFile(file);
            if (!isNamed(file, path))
                continue;
            if (made)
                return file;
        }
        if (unlink(path) != 0 && errno != ENOENT)
            break;
    }
    return File_Descriptor();
}

/// Gives the temporary file the owner and permissions of the file that it is to replace.
bool takeOver(const File_Descriptor& file, const struct stat& old) {
    const auto own = statusOf(file);
    if (!own)
        return false;
    if ((own->st_uid != old.st_uid || own->st_gid != old.st_gid) &&
        fchown(file.get(), old.st_uid, old.st_gid) != 0)
        return false;
    return fchmod(file.get(), old.st_mode & PermissionBits) == 0;
}

/// Makes a rename last. Some file systems cannot; the file is whole either way.
void syncDirectoryOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    const std::string directory = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    const File_Descriptor opened(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (opened)
        fsync(opened.get());
}

} // namespace

bool File_ReadWhole(const char* path, std::string& contents, std::size_t maximum) {
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

bool File_WriteAtomically(const char* path, const char* suffix, std::string_view contents, mode_t mode) {
    const std::string temporary = std::string(path) + suffix;
    const auto old = statusOf(path);
    const File_Descriptor file = makeTemporary(temporary.c_str(), old ? PrivateMode : mode);
    if (!file)
        return false;
    std::size_t written = 0;
    const bool replaced = (!old || takeOver(file, *old)) &&
                          File_Write(file.get(), contents.data(), contents.size(), written) &&
                          fsync(file.get()) == 0 && std::rename(temporary.c_str(), path) == 0;
    if (!replaced) {
        const int cause = errno;
        unlink(temporary.c_str());
        errno = cause;
        return false;
    }
    syncDirectoryOf(path);
    return true;
}
