#pragma once

#include "base/File_Descriptor.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <vector>

/// Room for the entries of a directory that are read at once. Shared by the directories of one walk, which
/// are read one after another. Aligned for what the kernel writes there.
struct alignas(8) System_FolderBuffer : std::array<char, std::size_t{64} * 1024> {};

/// What lies on a server or a device that is gone may never answer. A disk that has to wake up first does
/// within this time.
constexpr std::chrono::seconds System_Patience{20};

/// A directory that is open to be read, whose times are the same afterwards: its modification time is never
/// written, and its access time, where reading changes it, is put back to the nanosecond. For one thread at a
/// time.
class System_OpenFolder {
public:
    System_OpenFolder() = default;
    /// Opens `name`, which is relative to the open directory `at`. A soft link in its place is not followed.
    /// If it cannot be opened, the object is false and `errno` tells why.
    System_OpenFolder(int at, const char* name) : System_OpenFolder(at, name, false) {}
    /// Opens a path, soft links followed: it fails with ETIMEDOUT if there is no answer within
    /// System_Patience.
    static System_OpenFolder atPath(const std::string& path);

    explicit operator bool() const { return static_cast<bool>(descriptor_); }
    int descriptor() const { return descriptor_.get(); }
    File_Descriptor takeDescriptor() { return std::move(descriptor_); }

    /// The name of the next entry, without "." and "..". Valid until the next call. Nothing at the end, or
    /// if the directory cannot be read further, which `error` tells.
    std::optional<std::string_view> next(System_FolderBuffer& buffer);
    /// Whether the next entry does not depend on what is in the buffer.
    bool isBufferUsedUp() const { return at_ >= length_; }
    /// An errno(3) number; 0 if all entries were read.
    int error() const { return error_; }
    /// Puts the access time back if reading may have changed it. False, with `errno`, if that fails.
    bool restoreTime() const;

private:
    System_OpenFolder(int at, const char* name, bool follows);
    bool fill(System_FolderBuffer& buffer);

    File_Descriptor descriptor_;
    std::optional<timespec> accessTime_; ///< none if reading does not change it
    std::size_t at_ = 0;
    std::size_t length_ = 0;
    int error_ = 0;
};
