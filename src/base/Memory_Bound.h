#pragma once

#include <cstddef>

/// One bound over what all requests in flight hold together, large heads, bodies, parsed documents and large
/// replies, so that a few clients cannot take the memory of the host, of which it is a quarter at most: a
/// service manager that allows the agent half does not end it. Whoever holds such memory counts it here.
/// Thread-safe.
constexpr std::ptrdiff_t Memory_Bound = std::ptrdiff_t{1024} * 1024 * 1024;

/// Counts memory that was taken or, below 0, given back. Never refuses.
void Memory_Count(std::ptrdiff_t bytes);
/// Whether nothing more should be taken.
bool Memory_IsExhausted();

/// The part that one request holds, counted as long as this object lives.
class Memory_Share {
public:
    Memory_Share() = default;
    Memory_Share(const Memory_Share&) = delete;
    Memory_Share& operator=(const Memory_Share&) = delete;
    ~Memory_Share() { release(); }

    /// False, with nothing added, if that would go beyond the bound.
    bool grow(std::size_t bytes);
    void release();
    std::size_t size() const { return held_; }

private:
    std::size_t held_ = 0;
};
