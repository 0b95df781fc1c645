#pragma once

#include "base/File_Descriptor.h"

#include <string>
#include <string_view>

/// Files that only a running agent needs. Their names are 32 hexadecimal digits with ".tmp" at the end, so
/// that what a killed agent has left behind can be told from everything else.

/// Makes a new, empty file that nobody but the agent can open. `folder` is empty for the current directory
/// and else ends in "/"; `path` becomes the folder with the name. None on failure, with the cause in `errno`.
File_Descriptor File_CreateTemporary(std::string_view folder, std::string& path);

/// Whether such a file may have the name, which has no folder.
bool File_IsTemporaryName(std::string_view name);

/// Deletes the regular files in a folder whose names `isLeftover` knows, and logs each. What cannot be
/// deleted stays.
void File_Sweep(const char* folder, bool (*isLeftover)(std::string_view name));
