#pragma once

#include "host/Host_Record.h"

#include <mutex>
#include <string>

/// Hands each question on to another host and keeps what that answers, the first time that it is asked.
/// Whatever looks like a password in the output of a command or in a file is left out of the record, not of
/// the answer.
class Host_RecordingHost : public Host_Host {
public:
    /// `host` is borrowed and outlives this object.
    explicit Host_RecordingHost(Host_Host& host) : host_(host) {}

    Host_Record record() const;

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
    Host_Answer<Value> note(const Host_Words& question, Host_Answer<Value> answer);
    Host_Answer<std::string> noteText(const Host_Words& question, Host_Answer<std::string> answer);
    void keep(const Host_Words& question, const Host_Answer<Host_Words>& answer);

    Host_Host& host_;
    mutable std::mutex mutex_;
    Host_Record record_; // guarded by mutex_
};

/// The text with the values of `password=`, `passwd=` and the like replaced, and those of names with a
/// password in an address ("//name:password@host").
std::string Host_WithoutSecrets(std::string text);
