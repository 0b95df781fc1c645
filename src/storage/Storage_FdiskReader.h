#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// What `fdisk -l` says, in the form of fdisk 2.10 to 2.20. Pure functions; any text is welcome.

/// A drive by itself.
struct Storage_FdiskDrive {
    std::optional<std::uint64_t> totalBytes;
    /// Whether the drive has no partition table of its own.
    bool isWhole = true;
    /// Whether a table was there to tell so.
    bool isDecided = false;
};

/// A row of a partition table.
struct Storage_FdiskPartition {
    std::string device;
    /// The disk above whose table the row stands; empty if none was named.
    std::string disk;
    std::uint64_t offsetBytes = 0;
    std::uint64_t totalBytes = 0;
    /// Only a frame around logical partitions.
    bool isExtended = false;
    /// In use by what the table says: marked for booting, swap space or for logical volumes.
    bool isAllocated = false;
};

/// Whether fdisk tells of a disk in this form. Later ones count in sectors and in MiB.
bool Storage_IsFdiskForm(std::string_view text);

/// The output for one drive. Kernels of series 2.4 came with a form that tells the size by cylinders.
Storage_FdiskDrive Storage_ReadFdiskDrive(std::string_view text, std::string_view drive, bool isKernel24);

/// The partitions of all drives.
std::vector<Storage_FdiskPartition> Storage_ReadFdiskPartitions(std::string_view text);
