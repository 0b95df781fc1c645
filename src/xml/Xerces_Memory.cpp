#include "xml/Xerces_Memory.h"

#include "base/Memory_Bound.h"

#include <xercesc/util/OutOfMemoryException.hpp>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <malloc.h>
#include <utility>

namespace {

constexpr std::ptrdiff_t unlimited = std::numeric_limits<std::ptrdiff_t>::max();

/// Since the innermost limit began; below 0 if more was given back than taken.
thread_local std::ptrdiff_t held = 0;
thread_local std::ptrdiff_t limit = unlimited;
thread_local bool wiping = false;

/// A thread tells the bound over all requests now and then what it has taken or given back since.
class Uncounted {
public:
    Uncounted() = default;
    Uncounted(const Uncounted&) = delete;
    Uncounted& operator=(const Uncounted&) = delete;
    ~Uncounted() { Memory_Count(bytes_); }

    void add(std::ptrdiff_t bytes) {
        constexpr std::ptrdiff_t step = std::ptrdiff_t{1} << 20;
        bytes_ += bytes;
        if (bytes_ > step || bytes_ < -step)
            Memory_Count(std::exchange(bytes_, 0));
    }

private:
    std::ptrdiff_t bytes_ = 0;
};
thread_local Uncounted uncounted;

/// Only whoever reads from outside has a limit; what the agent makes itself is not refused.
bool isBeyondBound() {
    return limit != unlimited && Memory_IsExhausted();
}

std::ptrdiff_t sizeOf(void* block) {
    return static_cast<std::ptrdiff_t>(malloc_usable_size(block));
}

} // namespace

void* Xerces_Memory::allocate(XMLSize_t size) {
    // Looked at before, so that one huge block does not come to be at all.
    if (size > static_cast<std::size_t>(unlimited) || held > limit - static_cast<std::ptrdiff_t>(size) ||
        isBeyondBound())
        throw xercesc::OutOfMemoryException();
    void* block = std::malloc(size);
    if (block == nullptr)
        throw xercesc::OutOfMemoryException();
    const std::ptrdiff_t taken = sizeOf(block);
    held += taken;
    uncounted.add(taken);
    return block;
}

void Xerces_Memory::deallocate(void* block) {
    if (block == nullptr)
        return;
    const std::ptrdiff_t given = sizeOf(block);
    held -= given;
    uncounted.add(-given);
    if (wiping)
        explicit_bzero(block, static_cast<std::size_t>(given));
    std::free(block);
}

Xerces_MemoryLimit::Xerces_MemoryLimit(std::size_t bytes) : outerHeld_(held), outerLimit_(limit) {
    const std::ptrdiff_t left = outerLimit_ == unlimited ? unlimited : outerLimit_ - outerHeld_;
    limit = std::min(left, static_cast<std::ptrdiff_t>(bytes));
    held = 0;
}

Xerces_MemoryLimit::~Xerces_MemoryLimit() {
    held += outerHeld_;
    limit = outerLimit_;
}

Xerces_MemoryWipe::Xerces_MemoryWipe() : outer_(std::exchange(wiping, true)) {}

Xerces_MemoryWipe::~Xerces_MemoryWipe() {
    wiping = outer_;
}

bool Xerces_MemoryWipe::isWanted() {
    return wiping;
}
