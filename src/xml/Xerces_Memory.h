#pragma once

#include <xercesc/framework/MemoryManager.hpp>

#include <cstddef>

/// What the XML library takes its memory from: the heap, as far as the limit of the thread allows. Beyond it
/// an allocation fails with the library's OutOfMemoryException. Thread-safe.
class Xerces_Memory final : public xercesc::MemoryManager {
public:
    xercesc::MemoryManager* getExceptionMemoryManager() override { return this; }
    void* allocate(XMLSize_t size) override;
    void deallocate(void* block) override;
};

/// While it lives, what the library holds for this thread may grow by that many bytes and no more. Limits
/// nest: the narrower one holds.
class Xerces_MemoryLimit {
public:
    explicit Xerces_MemoryLimit(std::size_t bytes);
    Xerces_MemoryLimit(const Xerces_MemoryLimit&) = delete;
    Xerces_MemoryLimit& operator=(const Xerces_MemoryLimit&) = delete;
    ~Xerces_MemoryLimit();

private:
    std::ptrdiff_t outerHeld_;
    std::ptrdiff_t outerLimit_;
};
