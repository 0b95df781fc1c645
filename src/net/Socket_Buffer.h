#pragma once

#include <cstddef>
#include <cstring>
#include <memory>
#include <string_view>

/// Bytes between their arrival and their reading. Takes no memory until the first byte is to come. Passwords
/// come along here, so what has been read is overwritten at once.
class Socket_Buffer {
public:
    Socket_Buffer() = default;
    Socket_Buffer(const Socket_Buffer&) = delete;
    Socket_Buffer& operator=(const Socket_Buffer&) = delete;
    ~Socket_Buffer() { consume(end_ - begin_); }

    std::string_view content() const { return {storage_.get() + begin_, end_ - begin_}; }

    void consume(std::size_t count) {
        if (count != 0)
            explicit_bzero(storage_.get() + begin_, count);
        begin_ += count;
        if (begin_ == end_)
            begin_ = end_ = 0;
    }

    /// Room for at least `minimum` more bytes; room() tells how many. Bytes written there count after
    /// added().
    char* reserve(std::size_t minimum) {
        if (room() < minimum)
            makeRoom(minimum);
        return storage_.get() + end_;
    }

    std::size_t room() const { return capacity_ - end_; }
    void added(std::size_t count) { end_ += count; }

private:
    static constexpr std::size_t initialCapacity = 64 * std::size_t{1024};

    void makeRoom(std::size_t minimum) {
        const std::size_t held = end_ - begin_;
        std::size_t capacity = capacity_ == 0 ? initialCapacity : capacity_;
        while (capacity - held < minimum)
            capacity *= 2;
        if (capacity == capacity_) {
            std::memmove(storage_.get(), storage_.get() + begin_, held);
            explicit_bzero(storage_.get() + held, end_ - held);
        } else {
            auto larger = std::make_unique_for_overwrite<char[]>(capacity);
            if (held != 0)
                std::memcpy(larger.get(), storage_.get() + begin_, held);
            consume(held);
            storage_ = std::move(larger);
            capacity_ = capacity;
        }
        begin_ = 0;
        end_ = held;
    }

    std::unique_ptr<char[]> storage_;
    std::size_t capacity_ = 0;
    std::size_t begin_ = 0;
    std::size_t end_ = 0;
};
