#include "base/Memory_Bound.h"

#include <algorithm>
#include <atomic>
#include <unistd.h>

namespace {

std::atomic<std::ptrdiff_t> total{0};

std::ptrdiff_t bound() {
    static const std::ptrdiff_t quarterOfMachine = sysconf(_SC_PHYS_PAGES) / 4 * sysconf(_SC_PAGESIZE);
    return std::min(Memory_Bound, quarterOfMachine);
}

} // namespace

void Memory_Count(std::ptrdiff_t bytes) {
    total.fetch_add(bytes, std::memory_order_relaxed);
}

bool Memory_IsExhausted() {
    return total.load(std::memory_order_relaxed) > bound();
}

bool Memory_Share::grow(std::size_t bytes) {
    const auto more = static_cast<std::ptrdiff_t>(bytes);
    if (more < 0 || more > bound())
        return false;
    if (total.fetch_add(more, std::memory_order_relaxed) + more > bound()) {
        Memory_Count(-more);
        return false;
    }
    held_ += bytes;
    return true;
}

void Memory_Share::release() {
    Memory_Count(-static_cast<std::ptrdiff_t>(held_));
    held_ = 0;
}
