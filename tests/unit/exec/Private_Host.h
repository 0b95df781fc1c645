#pragma once

#include <string>

/// The test process's own view of the host's PAM services: an empty folder that only it and its children see.
/// Needs root and the right to mount.
namespace Private_Host {

bool isRoot();

/// Makes the folder on first use, for the whole process. False where that is not allowed.
bool enter();

/// Mounts an empty file system of that many bytes, private likewise. False where that is not allowed.
bool mountMemory(const std::string& directory, std::size_t bytes);

/// Makes or replaces the PAM service that the agent uses.
void setLoginService(const std::string& lines);

} // namespace Private_Host
