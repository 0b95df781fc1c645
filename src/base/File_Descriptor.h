#pragma once

#include <cerrno>
#include <unistd.h>
#include <utility>

/// Sole owner of a file descriptor, which it closes. Closing leaves `errno` alone, so that the cause of a
/// failure can still be told after the descriptors of the attempt are gone.
class File_Descriptor {
public:
    static constexpr int None = -1;

    explicit File_Descriptor(int descriptor = None) noexcept : descriptor_(descriptor) {}
    File_Descriptor(File_Descriptor&& other) noexcept : descriptor_(other.release()) {}
    File_Descriptor& operator=(File_Descriptor&& other) noexcept {
        if (this != &other)
            reset(other.release());
        return *this;
    }
    File_Descriptor(const File_Descriptor&) = delete;
    File_Descriptor& operator=(const File_Descriptor&) = delete;
    ~File_Descriptor() { reset(); }

    int get() const noexcept { return descriptor_; }
    explicit operator bool() const noexcept { return descriptor_ != None; }
    [[nodiscard]] int release() noexcept { return std::exchange(descriptor_, None); }

    void reset(int descriptor = None) noexcept {
        const int old = std::exchange(descriptor_, descriptor);
        if (old == None)
            return;
        const int saved = errno;
        ::close(old);
        errno = saved;
    }

private:
    int descriptor_;
};
