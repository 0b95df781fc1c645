#include "base/File_Operations.h"

#include "base/File_Contents.h"
#include "base/File_Descriptor.h"
#include "base/File_Temporary.h"
#include "base/String_Functions.h"
#include "base/User_Account.h"
#include "log/Debug_Printf.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr mode_t NewFileMode = 0660;
/// Until the file is given to its user.
constexpr mode_t SavedFileMode = 0600;
constexpr mode_t NewDirectoryMode = 0770;
constexpr int MaximumFailedWrites = 10;

mode_t ownerMode(unsigned permissions) {
    return ((permissions & File_PermissionRead) != 0 ? S_IRUSR : 0U) |
           ((permissions & File_PermissionWrite) != 0 ? S_IWUSR : 0U) |
           ((permissions & File_PermissionExecute) != 0 ? S_IXUSR : 0U);
}

/// The steps of File_SetFileSecurity, with the two calls that reach the file by name or by descriptor.
template <class ChangeOwner, class ChangeMode>
bool secure(const char* path, const char* userName, unsigned permissions, ChangeOwner changeOwner,
            ChangeMode changeMode) {
    const auto user = User_FindByName(userName);
    if (!user) {
        DEBUG_LOG("NXFILE: SetFileSecurity: Could not find user %s\n", userName);
        return false;
    }
    if (changeOwner(user->uid, user->gid) != 0) {
        DEBUG_LOG("NXFILE: SetFileSecurity: Could not change file ownership %s %s\n", path,
                  nxGetLastErrorMessage().c_str());
        return false;
    }
    if (changeMode(ownerMode(permissions)) != 0) {
        DEBUG_LOG("NXFILE: SetFileSecurity: Could not change file access permission %s %s\n", path,
                  nxGetLastErrorMessage().c_str());
        return false;
    }
    return true;
}

/// Through the descriptor, so that a name that changes hands meanwhile cannot turn the gift to another file.
bool secureOpenFile(int descriptor, const char* path, const char* user, unsigned permissions) {
    return secure(
        path, user, permissions, [descriptor](uid_t uid, gid_t gid) { return fchown(descriptor, uid, gid); },
        [descriptor](mode_t mode) { return fchmod(descriptor, mode); });
}

void deleteKeepingErrno(const char* path) {
    const int saved = errno;
    File_Delete(path);
    errno = saved;
}

/// A new file, which nobody else has open: at the path itself if nothing may stand there, else beside it, to
/// be moved there when it is whole. `made` is where it lies.
File_Descriptor openForSaving(const std::string& path, unsigned flags, std::string& made) {
    const bool create = (flags & File_FlagCreate) != 0;
    made = path;
    if (create && (flags & File_FlagExclusive) != 0)
        return File_Descriptor(
            open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOCTTY, SavedFileMode));
    struct stat old {};
    const bool exists = lstat(path.c_str(), &old) == 0;
    if (!exists && !(create && errno == ENOENT))
        return File_Descriptor();
    if (exists && !S_ISREG(old.st_mode)) {
        errno = EEXIST;
        return File_Descriptor();
    }
    return File_CreateTemporary(path.substr(0, path.rfind('/') + 1), made);
}

} // namespace

int File_Open(const char* path, unsigned access, unsigned flags) {
    const bool reads = (access & File_AccessRead) != 0;
    const bool writes = (access & File_AccessWrite) != 0;
    int mode = O_CLOEXEC | O_NOCTTY;
    mode |= reads && writes ? O_RDWR : writes ? O_WRONLY : O_RDONLY;
    mode |= (flags & File_FlagCreate) != 0 ? O_CREAT : 0;
    mode |= (flags & File_FlagExclusive) != 0 ? O_EXCL : 0;
    mode |= (flags & File_FlagTruncate) != 0 ? O_TRUNC : 0;
    return open(path, mode, NewFileMode);
}

bool File_Close(int& descriptor) {
    const int closing = descriptor;
    descriptor = File_Descriptor::None;
    return close(closing) == 0;
}

bool File_Read(int descriptor, void* buffer, std::size_t length, std::size_t& count) {
    ssize_t got = 0;
    do {
        got = read(descriptor, buffer, length);
    } while (got == -1 && errno == EINTR);
    count = got > 0 ? static_cast<std::size_t>(got) : 0;
    return got >= 0;
}

bool File_Write(int descriptor, const void* buffer, std::size_t length, std::size_t& count) {
    const char* bytes = static_cast<const char*>(buffer);
    int failures = 0;
    count = 0;
    while (count < length && failures < MaximumFailedWrites) {
        const ssize_t wrote = write(descriptor, bytes + count, length - count);
        if (wrote > 0) {
            count += static_cast<std::size_t>(wrote);
            failures = 0;
        } else {
            ++failures;
        }
    }
    return count == length;
}

bool File_Seek(int descriptor, std::int64_t offset, std::uint64_t& position, File_SeekMethod method) {
    const int whence = method == File_SeekFromCurrent ? SEEK_CUR
                       : method == File_SeekFromEnd   ? SEEK_END
                                                      : SEEK_SET;
    const off_t reached = lseek(descriptor, offset, whence);
    if (reached == -1)
        return false;
    position = static_cast<std::uint64_t>(reached);
    return true;
}

bool File_Delete(const char* path) {
    return std::remove(path) == 0;
}

bool File_Rename(const char* oldPath, const char* newPath) {
    return std::rename(oldPath, newPath) == 0;
}

bool File_Save(const char* path, unsigned permissions, unsigned flags, const char* user, const void* buffer,
               std::size_t length, std::size_t& count) {
    count = 0;
    std::string made = path;
    const File_Descriptor file = openForSaving(path, flags, made);
    if (!file) {
        DEBUG_LOG("NXFILE:File_Save error opening file %s\n", path);
        return false;
    }
    if (!File_Write(file.get(), buffer, length, count)) {
        DEBUG_LOG("NXFILE:File_Save error writing file %s\n", path);
        deleteKeepingErrno(made.c_str());
        return false;
    }
    if (!secureOpenFile(file.get(), path, user, permissions)) {
        DEBUG_LOG("NXFILE:File_Save error setting file security %s\n", path);
        deleteKeepingErrno(made.c_str());
        return false;
    }
    if (made != path && !File_MoveIntoPlace(file.get(), made.c_str(), path)) {
        DEBUG_LOG("NXFILE:File_Save error writing file %s\n", path);
        deleteKeepingErrno(made.c_str());
        return false;
    }
    return true;
}

bool File_SetFileSecurity(const char* path, const char* user, unsigned permissions) {
    return secure(
        path, user, permissions, [path](uid_t uid, gid_t gid) { return chown(path, uid, gid); },
        [path](mode_t mode) { return chmod(path, mode); });
}

bool File_CreateDirectory(const char* path) {
    if (mkdir(path, NewDirectoryMode) == 0)
        return true;
    return errno == EEXIST && File_IsDirectory(path);
}

int File_Chdir(const char* path) {
    return chdir(path);
}

bool File_IsDirectory(const char* path) {
    struct stat status {};
    return stat(path, &status) == 0 && S_ISDIR(status.st_mode);
}

bool File_Exists(const char* path) {
    struct stat status {};
    return stat(path, &status) == 0;
}

std::string File_Get_File_Owner(const char* path) {
    struct stat status {};
    if (stat(path, &status) != 0) {
        DEBUG_LOG("FILE: Error stating file %s %s\n", path, nxGetLastErrorMessage().c_str());
        return FILE_OWNER_UNKNOWN;
    }
    return User_NameOrNumber(status.st_uid);
}
