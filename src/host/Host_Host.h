#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <utility>
#include <vector>

/// What a host says to a question: the answer, or the errno(3) number with which asking failed.
template <typename Value>
class Host_Answer {
public:
    Host_Answer(Value value) : value_(std::move(value)) {}
    static Host_Answer failure(int error) { return Host_Answer(error, Failed()); }

    bool operator==(const Host_Answer&) const = default;

    explicit operator bool() const { return value_.has_value(); }
    /// Only of an answer, not of a failure.
    Value& operator*() { return *value_; }
    const Value& operator*() const { return *value_; }
    Value* operator->() { return &*value_; }
    const Value* operator->() const { return &*value_; }
    Value valueOr(Value other) const { return value_.value_or(std::move(other)); }
    /// 0 for an answer.
    int error() const { return error_; }

private:
    struct Failed {};
    Host_Answer(int error, Failed) : error_(error) {}

    std::optional<Value> value_;
    int error_ = 0;
};

/// How long one command may run. What it started is ended with it, at its limit and on request.
struct Host_Limits {
    std::chrono::milliseconds time = std::chrono::seconds(60);
    std::stop_token stop = {};
};

/// What a path leads to, soft links followed.
struct Host_Node {
    enum Kind { File, Folder, Block, Character, Other };

    bool operator==(const Host_Node&) const = default;

    Kind kind = Other;
    unsigned major = 0; ///< of the device that a block or character node stands for
    unsigned minor = 0;
};

/// What statfs(2) tells of a file system.
struct Host_FileSystem {
    bool operator==(const Host_FileSystem&) const = default;

    std::uint64_t blockSize = 0; ///< bytes
    std::uint64_t blocks = 0;
    std::uint64_t freeBlocks = 0;
    std::uint64_t availableBlocks = 0; ///< of the free ones, to ordinary users
    std::uint64_t inodes = 0;          ///< 0 where the file system has no fixed number
    std::uint64_t freeInodes = 0;
};

/// A device's place on the SCSI buses, each number as the kernel's old call gives it: modulo 256.
struct Host_ScsiAddress {
    bool operator==(const Host_ScsiAddress&) const = default;

    unsigned host = 0;
    unsigned channel = 0;
    unsigned id = 0;
    unsigned lun = 0;
};

/// A device that is open for reading, and closed when the object goes. For one thread at a time.
class Host_Device {
public:
    /// Of each of the two replies this much counts; what the device does not fill is zero.
    static constexpr std::size_t inquiryLength = 96;
    static constexpr std::size_t identityLength = 512;

    Host_Device() = default;
    Host_Device(const Host_Device&) = delete;
    Host_Device& operator=(const Host_Device&) = delete;
    virtual ~Host_Device() = default;

    virtual Host_Answer<Host_ScsiAddress> scsiAddress() = 0;
    /// The reply to a standard SCSI INQUIRY, `inquiryLength` bytes.
    virtual Host_Answer<std::string> inquiry() = 0;
    /// The identity of an IDE drive as the kernel keeps it, `identityLength` bytes.
    virtual Host_Answer<std::string> identity() = 0;
    /// Fewer than `length` bytes only at the end of the device.
    virtual Host_Answer<std::string> read(std::uint64_t offset, std::size_t length) = 0;
};

/// The one door through which audits see a machine. There is the machine that this process runs on
/// (Host_Real), one that answers from a folder (Host_RecordedHost), and one that asks another and keeps what
/// it says (Host_RecordingHost).
///
/// Nothing is ever written to the host, and no question blocks for good: what does not answer within its
/// limit has failed with ETIMEDOUT. Thread-safe. Paths are absolute.
class Host_Host {
public:
    Host_Host() = default;
    Host_Host(const Host_Host&) = delete;
    Host_Host& operator=(const Host_Host&) = delete;
    virtual ~Host_Host() = default;

    /// What a command line for the shell wrote on its standard output. The exit status is not looked at: a
    /// tool that is missing or has nothing to say gives an empty text. What goes into the line and is no
    /// constant goes through ShellCommand_Quote.
    Host_Answer<std::string> run(const std::string& command, const Host_Limits& limits = {}) {
        return runWithin(command, limits);
    }
    /// The whole contents, of a file of the kernel as well.
    virtual Host_Answer<std::string> readFile(const std::string& path) = 0;
    /// The names in a folder, sorted, without "." and "..".
    virtual Host_Answer<std::vector<std::string>> listFolder(const std::string& path) = 0;
    /// Where a soft link points, as it says itself.
    virtual Host_Answer<std::string> readLink(const std::string& path) = 0;
    virtual Host_Answer<Host_Node> node(const std::string& path) = 0;
    virtual Host_Answer<Host_FileSystem> fileSystem(const std::string& mountPoint) = 0;
    virtual Host_Answer<std::unique_ptr<Host_Device>> openDevice(const std::string& path) = 0;

    virtual Host_Answer<std::string> hostName() = 0;
    /// The NIS domain, "(none)" where there is none.
    virtual Host_Answer<std::string> domainName() = 0;
    /// Minutes of local time, with daylight saving when it is in force, east of Greenwich.
    virtual Host_Answer<int> gmtOffset() = 0;
    virtual Host_Answer<bool> daylightSaving() = 0;

protected:
    virtual Host_Answer<std::string> runWithin(const std::string& command, const Host_Limits& limits) = 0;
};

/// The machine that this process runs on. Lives as long as the process.
Host_Host& Host_Real();
