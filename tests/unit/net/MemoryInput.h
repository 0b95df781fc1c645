#pragma once

#include "net/Socket_Input.h"

#include <algorithm>
#include <string>

/// A stream of text in memory that arrives in pieces of a given size and then ends.
class MemoryInput : public Socket_Input {
public:
    explicit MemoryInput(std::string text, std::size_t piece = 1) : text_(std::move(text)), piece_(piece) {}

    std::string_view arrived() const override {
        return std::string_view(text_).substr(begin_, end_ - begin_);
    }
    void consume(std::size_t count) override { begin_ += count; }
    bool receiveMore(unsigned) override {
        const std::size_t more = std::min(piece_, text_.size() - end_);
        end_ += more;
        return more != 0;
    }

    /// What no reader has taken, arrived or not.
    std::string left() const { return text_.substr(begin_); }

private:
    std::string text_;
    std::size_t piece_;
    std::size_t begin_ = 0;
    std::size_t end_ = 0;
};
