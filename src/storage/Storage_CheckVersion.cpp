#include "storage/Storage_CheckVersion.h"

#include "base/String_Functions.h"
#include "host/Host_Host.h"
#include "log/Debug_Printf.h"

#include <vector>

namespace {

constexpr const char* releaseCommand = "uname -r";
constexpr std::size_t versionLength = 3;

} // namespace

bool Storage_CheckVersion(const char* version) {
    return Storage_CheckVersion(Host_Real(), version);
}

bool Storage_CheckVersion(Host_Host& host, const char* version) {
    if (version == nullptr)
        return false;
    const Host_Answer<std::string> output = host.run(releaseCommand);
    if (!output) {
        DEBUG_LOG("Storage_CheckVersion: OS command failed: %s\n", releaseCommand);
        return false;
    }
    return Storage_ReleaseHasVersion(*output, version);
}

bool Storage_ReleaseHasVersion(const std::string& output, const std::string& version) {
    for (const std::string& line : string2vector(output, "\n")) {
        const std::vector<std::string> tokens = string2vector(line, " \t");
        if (tokens.size() != 1)
            continue;
        const std::string found = tokens[0].substr(0, versionLength);
        if (found != version)
            continue;
        DEBUG_LOG("Storage_CheckVersion: OS version (%s) matches test version: %s\n", found.c_str(),
                  version.c_str());
        return true;
    }
    return false;
}
