#include "base/Memory_Bound.h"

#include <atomic>

namespace {

std::atomic<std::ptrdiff_t> total{0};

} // namespace

void Memory_Count(std::ptrdiff_t bytes) {
    total.fetch_add(bytes, std::memory_order_relaxed);
}

bool Memory_IsExhausted() {
    return total.load(std::memory_order_relaxed) > Memory_Bound;
}

bool Memory_Share::grow(std::size_t bytes) {
    const auto more = static_cast<std::ptrdiff_t>(bytes);
    if (more < 0 || more > Memory_Bound)
        return false;
    if (total.fetch_add(more, std::memory_order_relaxed) + more > Memory_Bound) {
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
