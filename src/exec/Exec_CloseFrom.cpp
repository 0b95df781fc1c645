#include "exec/Exec_CloseFrom.h"

#include <sys/syscall.h>
#include <unistd.h>

namespace {

/// How far to count if the system does not tell its limit.
constexpr int assumedTableSize = 256;

} // namespace

void Exec_CloseByCounting(unsigned first) noexcept {
    const int tableSize = getdtablesize();
    const int end = tableSize == -1 ? assumedTableSize : tableSize;
    for (int descriptor = static_cast<int>(first); descriptor < end; ++descriptor)
        close(descriptor);
}

void Exec_CloseFrom(unsigned first) noexcept {
    if (syscall(SYS_close_range, first, ~0U, 0U) != 0)
        Exec_CloseByCounting(first);
}
