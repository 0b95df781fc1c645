#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

/// The file system by name, with the same return conventions everywhere: true on success, counts through
/// references, descriptors as plain ints with -1 for a failure. On failure `errno` tells the cause. All are
/// thread-safe. Descriptors are close-on-exec. Text arguments are zero-terminated.

constexpr unsigned File_AccessRead = 1;
constexpr unsigned File_AccessWrite = 2;

constexpr unsigned File_FlagCreate = 1;
constexpr unsigned File_FlagExclusive = 2;
constexpr unsigned File_FlagTruncate = 4;

constexpr unsigned File_PermissionRead = 1;
constexpr unsigned File_PermissionWrite = 2;
constexpr unsigned File_PermissionExecute = 4;

enum File_SeekMethod { File_SeekFromStart = 0, File_SeekFromCurrent = 1, File_SeekFromEnd = 2 };

/// What File_Get_File_Owner gives for a file that cannot be looked at.
constexpr const char* FILE_OWNER_UNKNOWN = "unknown";

/// `access` and `flags` are sums of the constants above. A new file gets permissions 0660 less the umask.
int File_Open(const char* path, unsigned access, unsigned flags);
/// Closes the descriptor and sets it to -1.
bool File_Close(int& descriptor);
/// One read. `count` is 0 at the end of the file and on failure.
bool File_Read(int descriptor, void* buffer, std::size_t length, std::size_t& count);
/// Writes until all is written; `count` tells how much was. Ten failed or empty writes in a row are a
/// failure.
bool File_Write(int descriptor, const void* buffer, std::size_t length, std::size_t& count);
/// `position` is the new position from the start of the file, left alone on failure.
bool File_Seek(int descriptor, std::int64_t offset, std::uint64_t& position, File_SeekMethod method);

bool File_Delete(const char* path);
/// Replaces what stands under the new name, at every moment of which either the old or the new file is found.
bool File_Rename(const char* oldPath, const char* newPath);

/// Writes a file that belongs to a user: the flags are those of File_Open, user and permissions those of
/// File_SetFileSecurity. The file is a new one that takes the old one's place when it is whole and secured,
/// so that descriptors of the old one do not reach it; on failure the old one stands. What is no regular file
/// is not replaced: EEXIST.
bool File_Save(const char* path, unsigned permissions, unsigned flags, const char* user, const void* buffer,
               std::size_t length, std::size_t& count);
/// Gives the file to the user and the user's group, with these permissions for the owner and none for others.
bool File_SetFileSecurity(const char* path, const char* user, unsigned permissions);

/// Permissions 0770 less the umask. A directory that exists already is a success.
bool File_CreateDirectory(const char* path);
/// The result of chdir: 0 on success.
int File_Chdir(const char* path);
bool File_IsDirectory(const char* path);
bool File_Exists(const char* path);

/// The name of the file's owner; without such a user the lower 16 bits of the number, in decimal.
std::string File_Get_File_Owner(const char* path);
