#include "exec/Exec_CloseFrom.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

/// How far to count if the system does not tell its limit.
constexpr int assumedTableSize = 256;

/// What getdents64(2) writes before each name.
struct DirectoryEntryHead {
    std::uint64_t inode;
    std::int64_t offset;
    unsigned short recordLength;
    unsigned char type;
};
constexpr std::size_t nameOffset = offsetof(DirectoryEntryHead, type) + 1;

/// -1 for a name that is no number.
int descriptorFromName(const char* name) noexcept {
    int number = 0;
    if (*name == '\0')
        return -1;
    for (; *name != '\0'; ++name) {
        if (*name < '0' || *name > '9')
            return -1;
        number = number * 10 + (*name - '0');
    }
    return number;
}

void closeListed(const char* entries, std::size_t length, int first, int listing) noexcept {
    for (std::size_t at = 0; at < length;) {
        DirectoryEntryHead head;
        std::memcpy(&head, entries + at, nameOffset);
        const int descriptor = descriptorFromName(entries + at + nameOffset);
        if (descriptor >= first && descriptor != listing)
            close(descriptor);
        at += head.recordLength;
    }
}

} // namespace

bool Exec_CloseByRange(unsigned first) noexcept {
    return syscall(SYS_close_range, first, ~0U, 0U) == 0;
}

bool Exec_CloseByListing(unsigned first) noexcept {
    const int listing = open("/proc/self/fd", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (listing == -1)
        return false;
    alignas(DirectoryEntryHead) char entries[4096];
    long length = 0;
    // The kernel goes through this directory by number, so closing does not upset its order.
    while ((length = syscall(SYS_getdents64, listing, entries, sizeof entries)) > 0)
        closeListed(entries, static_cast<std::size_t>(length), static_cast<int>(first), listing);
    close(listing);
    return length == 0;
}

void Exec_CloseByCounting(unsigned first) noexcept {
    int tableSize = getdtablesize();
    if (tableSize == -1)
        tableSize = assumedTableSize;
    for (int descriptor = static_cast<int>(first); descriptor < tableSize; ++descriptor)
        close(descriptor);
}

void Exec_CloseFrom(unsigned first) noexcept {
    if (!Exec_CloseByRange(first) && !Exec_CloseByListing(first))
        Exec_CloseByCounting(first);
}
