#pragma once

#include <string>

/// Whether the kernel's release begins with the three characters of `version`, "2.6" say. Asks the host anew
/// at each call. False if `version` is null or the host cannot be asked.
bool Storage_CheckVersion(const char* version);

/// The same for a recorded output of `uname -r`: a line that is one word is a release.
bool Storage_ReleaseHasVersion(const std::string& output, const std::string& version);
