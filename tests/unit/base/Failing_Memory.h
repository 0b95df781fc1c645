#pragma once

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <new>
#include <thread>

/// While it lives, one allocation fails, on whatever thread: the `number`-th from now, counted from 1.
///
/// One source file of a program includes this, and the program is linked with --wrap=malloc: what is linked
/// into it then comes here for malloc, and everything, shared libraries too, for operator new.
class Failing_Memory {
public:
    explicit Failing_Memory(unsigned long number) { left_ = number; }
    Failing_Memory(const Failing_Memory&) = delete;
    Failing_Memory& operator=(const Failing_Memory&) = delete;
    ~Failing_Memory() { left_ = 0; }

    /// Does `work` with its first, second and so on allocation failed, and each time `check` behind it, until
    /// nothing failed any more. Larger numbers are samples. `work` may throw. What it leaves to other threads
    /// is waited for until `isOver`. Gives the last number.
    template <typename Work, typename Check>
    static unsigned long failEach(
        Work work, Check check, const std::function<bool()>& isOver = [] { return true; }) {
        for (unsigned long number = 1;; number += 1 + number / samplesFrom) {
            bool failed = false;
            {
                const Failing_Memory failing(number);
                try {
                    work();
                } catch (...) { // NOLINT(bugprone-empty-catch): one way to fail
                }
                while (!isOver())
                    std::this_thread::sleep_for(std::chrono::milliseconds(1));
                failed = hasFailed();
            }
            check(number, failed);
            if (!failed)
                return number;
        }
    }

    /// How many allocations large work has at least: ThreadSanitizer's own operators cannot be replaced.
#ifdef __SANITIZE_THREAD__
    static constexpr unsigned long many = 1;
#else
    static constexpr unsigned long many = 300;
#endif

    static bool hasFailed() {
        return left_ == 0;
    }

    /// Null for the allocation that is to fail.
    static void* allocate(std::size_t size);

private:
    static constexpr unsigned long samplesFrom = 300;
    static inline std::atomic<unsigned long> left_ = 0;
};

extern "C" {
/// Of LeakSanitizer: what the XML library had begun when it ran out of memory, it does not give back.
const char* __lsan_default_suppressions() { // NOLINT(bugprone-reserved-identifier)
    return "leak:libxerces-c\n";
}

// NOLINTBEGIN(bugprone-reserved-identifier): names that the linker makes
void* __real_malloc(std::size_t size);
void* __wrap_malloc(std::size_t size) {
    return Failing_Memory::allocate(size);
}
// NOLINTEND(bugprone-reserved-identifier)
}

void* Failing_Memory::allocate(std::size_t size) {
    unsigned long left = left_;
    while (left != 0 && !left_.compare_exchange_weak(left, left - 1)) {
    }
    return left == 1 ? nullptr : __real_malloc(std::max<std::size_t>(size, 1));
}

#ifndef __SANITIZE_THREAD__
[[gnu::noinline]] void* operator new(std::size_t size) {
    if (void* block = Failing_Memory::allocate(size))
        return block;
    throw std::bad_alloc();
}
[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return Failing_Memory::allocate(size);
}
[[gnu::noinline]] void operator delete(void* block) noexcept {
    std::free(block);
}
[[gnu::noinline]] void operator delete(void* block, std::size_t) noexcept {
    std::free(block);
}
#endif
