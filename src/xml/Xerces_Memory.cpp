#include "xml/Xerces_Memory.h"

#include <xercesc/util/OutOfMemoryException.hpp>

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <malloc.h>

namespace {

constexpr std::ptrdiff_t unlimited = std::numeric_limits<std::ptrdiff_t>::max();

/// Since the innermost limit began; below 0 if more was given back than taken.
thread_local std::ptrdiff_t held = 0;
thread_local std::ptrdiff_t limit = unlimited;

std::ptrdiff_t sizeOf(void* block) {
    return static_cast<std::ptrdiff_t>(malloc_usable_size(block));
}

} // namespace

void* Xerces_Memory::allocate(XMLSize_t size) {
    // Looked at before, so that one huge block does not come to be at all.
    if (size > static_cast<std::size_t>(unlimited) || held > limit - static_cast<std::ptrdiff_t>(size))
        throw xercesc::OutOfMemoryException();
    void* block = std::malloc(size);
    if (block == nullptr)
        throw xercesc::OutOfMemoryException();
    held += sizeOf(block);
    return block;
}

void Xerces_Memory::deallocate(void* block) {
    if (block == nullptr)
        return;
    held -= sizeOf(block);
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
