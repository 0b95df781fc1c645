#pragma once

#include "base/File_Descriptor.h"

#include <array>
#include <cstddef>
#include <string_view>

/// A pipe from a child to the agent. Both ends are close-on-exec, and the agent's end does not block:
/// processes that a child leaves behind may hold the other end for as long as they like, so that its end of
/// file says nothing about the child.
class Exec_Pipe {
public:
    /// If no pipe can be made there is none, with the cause in `errno`.
    Exec_Pipe();

    bool exists() const { return static_cast<bool>(readEnd_); }
    int readEnd() const { return readEnd_.get(); }
    int writeEnd() const { return writeEnd_.get(); }
    void closeWriteEnd() { writeEnd_.reset(); }

private:
    File_Descriptor readEnd_;
    File_Descriptor writeEnd_;
};

/// The beginning of what a child writes to its standard error. The child never waits for a reader, as the
/// rest is read too, and dropped.
class Exec_ErrorCapture {
public:
    static constexpr std::size_t maximum = 254;

    bool exists() const { return pipe_.exists(); }
    /// What to watch for something to read: -1 once there can be no more.
    int watched() const { return ended_ ? File_Descriptor::None : pipe_.readEnd(); }
    int writeEnd() const { return pipe_.writeEnd(); }
    void closeWriteEnd() { pipe_.closeWriteEnd(); }

    /// One read of what has been written meanwhile.
    void readOnce();
    /// Reads what is there, but no more than is kept: whoever still writes cannot hold the caller here.
    void readRest();

    std::string_view text() const { return {kept_.data(), count_}; }

private:
    Exec_Pipe pipe_;
    std::array<char, maximum> kept_{};
    std::size_t count_ = 0;
    bool ended_ = false;
};
