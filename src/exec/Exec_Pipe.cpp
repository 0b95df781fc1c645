#include "exec/Exec_Pipe.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

Exec_Pipe::Exec_Pipe() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        return;
    readEnd_.reset(ends[0]);
    writeEnd_.reset(ends[1]);
    if (fcntl(readEnd_.get(), F_SETFL, O_NONBLOCK) != 0) {
        readEnd_.reset();
        writeEnd_.reset();
    }
}

void Exec_ErrorCapture::readOnce() {
    if (!exists() || ended_)
        return;
    std::array<char, 16384> buffer; // NOLINT(cppcoreguidelines-pro-type-member-init): written by read
    const ssize_t got = read(pipe_.readEnd(), buffer.data(), buffer.size());
    if (got > 0) {
        const std::size_t wanted = std::min(static_cast<std::size_t>(got), maximum - count_);
        std::copy_n(buffer.data(), wanted, kept_.data() + count_);
        count_ += wanted;
    } else if (got == 0 || (errno != EAGAIN && errno != EINTR)) {
        ended_ = true;
    }
}

void Exec_ErrorCapture::readRest() {
    while (exists() && count_ < maximum) {
        const ssize_t got = read(pipe_.readEnd(), kept_.data() + count_, maximum - count_);
        if (got > 0)
            count_ += static_cast<std::size_t>(got);
        else if (got == 0 || errno != EINTR)
            return;
    }
}
