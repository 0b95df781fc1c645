#pragma once

#include <cstdint>

/// The name of a file system by its number of statfs(2), "unknown" for most.
const char* System_FileSystemTypeName(std::uint32_t type);

/// Whether walks go into file systems of this type where they meet one: null for none. The case of letters
/// does not count.
bool System_VerifyFSTypeSupport(const char* type);
