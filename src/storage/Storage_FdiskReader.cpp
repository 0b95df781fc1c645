#include "storage/Storage_FdiskReader.h"

#include "storage/Storage_Lines.h"

namespace {

/// Where a disk's line of units is missing.
constexpr std::uint64_t usualCylinderBytes = 1024;
constexpr std::string_view pathStart = "/dev/";
constexpr std::string_view extended = "5";
constexpr std::string_view swapSpace = "82";
constexpr std::string_view logicalVolumes = "8e";

/// "Units = cylinders of 16065 * 512 bytes"
bool isUnits(const Storage_Lines& lines) {
    return lines.size() > 6 && lines.is(0, "Units") && lines.is(2, "cylinders");
}

std::uint64_t cylinderBytes(const Storage_Lines& units) {
    return Storage_Number(units[4]) * Storage_Number(units[6]);
}

bool isTableHead(const Storage_Lines& lines) {
    return lines.is(0, "Device", "Boot");
}

Storage_FdiskPartition readRow(const Storage_Lines& row, std::string_view disk, std::uint64_t unitBytes) {
    // A mark for booting is a column of its own, which other rows do not have.
    const std::size_t marked = row.is(1, "*") ? 1 : 0;
    const std::string_view id = row[4 + marked];
    Storage_FdiskPartition partition;
    partition.device = row[0];
    partition.disk = disk;
    partition.offsetBytes = unitBytes * Storage_Number(row[1 + marked]);
    partition.totalBytes = Storage_BlockBytes * Storage_Number(row[3 + marked]);
    partition.isExtended = id == extended;
    partition.isAllocated = marked != 0 || id == logicalVolumes || id == swapSpace;
    return partition;
}

} // namespace

bool Storage_IsFdiskForm(std::string_view text) {
    for (Storage_Lines lines(text); lines.next();)
        if (lines.size() > 3 && lines.is(0, "Disk") && lines[1].ends_with(':'))
            return lines.is(3, "MB,") || lines.is(3, "GB,") || lines.is(3, "heads,");
    return false;
}

Storage_FdiskDrive Storage_ReadFdiskDrive(std::string_view text, std::string_view drive, bool isKernel24) {
    Storage_FdiskDrive found;
    std::uint64_t cylinders = 0;
    bool isFirst = true;
    bool isBehindHead = false;
    for (Storage_Lines lines(text); lines.next(); isFirst = false) {
        if (isBehindHead) {
            found.isDecided = true;
            found.isWhole = lines[0].size() <= drive.size();
            break;
        }
        isBehindHead = isTableHead(lines);
        if (found.totalBytes)
            continue;
        if (isFirst && lines.size() == 6 && lines.is(0, "Disk"))
            found.totalBytes = Storage_Number(lines[4]);
        else if (isKernel24 && lines.size() > 7 && lines.is(0, "Disk") && lines.is(7, "cylinders"))
            cylinders = Storage_Number(lines[6]);
        else if (isKernel24 && isUnits(lines))
            found.totalBytes = cylinderBytes(lines) * cylinders;
    }
    return found;
}

std::vector<Storage_FdiskPartition> Storage_ReadFdiskPartitions(std::string_view text) {
    std::vector<Storage_FdiskPartition> partitions;
    std::string_view disk;
    std::uint64_t unitBytes = usualCylinderBytes;
    bool isInTable = false;
    for (Storage_Lines lines(text); lines.next();) {
        // "Disk identifier: 0x000a0b0c" names none.
        if (lines.is(0, "Disk") && lines[1].starts_with(pathStart)) {
            disk = lines[1].substr(0, lines[1].find(':'));
            isInTable = false;
        } else if (isUnits(lines)) {
            unitBytes = cylinderBytes(lines);
            isInTable = false;
        } else if (isTableHead(lines)) {
            isInTable = true;
        } else if (isInTable && lines.size() >= 6 && lines[0].starts_with(pathStart)) {
            partitions.push_back(readRow(lines, disk, unitBytes));
        }
    }
    return partitions;
}
