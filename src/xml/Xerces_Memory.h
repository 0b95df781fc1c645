#pragma once

#include <xercesc/framework/MemoryManager.hpp>

#include <cstddef>

/// What the XML library takes its memory from: the heap, as far as the limit of the thread and the bound over
/// all requests allow. Beyond them an allocation fails with the library's OutOfMemoryException. Thread-safe.
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

/// While it lives, all that the library gives back on this thread is overwritten first, and no parser is kept
/// for later: for documents that hold a password. Whatever is made of the document goes before this object.
class Xerces_MemoryWipe {
public:
    Xerces_MemoryWipe();
    Xerces_MemoryWipe(const Xerces_MemoryWipe&) = delete;
    Xerces_MemoryWipe& operator=(const Xerces_MemoryWipe&) = delete;
    ~Xerces_MemoryWipe();

    /// Whether there is one for this thread.
    static bool isWanted();

private:
    bool outer_;
};
