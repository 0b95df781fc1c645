#pragma once

#include "host/Host_Record.h"

#include <mutex>
#include <string>
#include <vector>

/// A host that answers from a record. What was never asked when the record was made is not there: a file or a
/// device does not exist (ENOENT), a command cannot be run, the device gives no such answer; such questions
/// are kept, since they mean that the record is too small.
class Host_RecordedHost : public Host_Host {
public:
    explicit Host_RecordedHost(Host_Record record) : record_(std::move(record)) {}

    /// The questions that found no answer, in the order in which they were asked.
    std::vector<Host_Words> unanswered() const;

    Host_Answer<std::string> readFile(const std::string& path) override;
    Host_Answer<std::vector<std::string>> listFolder(const std::string& path) override;
    Host_Answer<std::string> readLink(const std::string& path) override;
    Host_Answer<Host_Node> node(const std::string& path) override;
    Host_Answer<Host_FileSystem> fileSystem(const std::string& mountPoint) override;
    /// The device must not outlive this host.
    Host_Answer<std::unique_ptr<Host_Device>> openDevice(const std::string& path) override;
    Host_Answer<std::string> hostName() override;
    Host_Answer<std::string> domainName() override;
    Host_Answer<int> gmtOffset() override;
    Host_Answer<bool> daylightSaving() override;

protected:
    Host_Answer<std::string> runWithin(const std::string& command, const Host_Limits& limits) override;

private:
    class Device;

    template <typename Value>
    Host_Answer<Value> answerTo(Host_Words question, int otherwise);
    void noteUnanswered(Host_Words question);

    const Host_Record record_;
    mutable std::mutex mutex_;
    std::vector<Host_Words> unanswered_; // guarded by mutex_
};
