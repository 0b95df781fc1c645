#pragma once

#include "host/Host_Host.h"

/// A Linux host through system calls and the shell; see Host_Real.
class Host_HostLinux : public Host_Host {
public:
    Host_Answer<std::string> readFile(const std::string& path) override;
    Host_Answer<std::vector<std::string>> listFolder(const std::string& path) override;
    Host_Answer<std::string> readLink(const std::string& path) override;
    Host_Answer<Host_Node> node(const std::string& path) override;
    Host_Answer<Host_FileSystem> fileSystem(const std::string& mountPoint) override;
    Host_Answer<std::unique_ptr<Host_Device>> openDevice(const std::string& path) override;

    Host_Answer<std::string> hostName() override;
    Host_Answer<std::string> domainName() override;
    Host_Answer<int> gmtOffset() override;
    Host_Answer<bool> daylightSaving() override;

protected:
    Host_Answer<std::string> runWithin(const std::string& command, const Host_Limits& limits) override;
};
