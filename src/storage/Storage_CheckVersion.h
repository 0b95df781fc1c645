#pragma once

#include <string>

class Host_Host;

/// Whether the kernel's release begins with the three characters of `version`, "2.6" say. Asks the host anew
/// at each call. False if `version` is null or the host cannot be asked.
bool Storage_CheckVersion(Host_Host& host, const char* version);
/// The same of the machine that this process runs on.
bool Storage_CheckVersion(const char* version);

/// The same for a recorded output of `uname -r`: a line that is one word is a release.
bool Storage_ReleaseHasVersion(const std::string& output, const std::string& version);
