#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <sys/types.h>

class Secret_Text;

/// Whole files. All give false on failure, with the cause in `errno`.

/// Replaces `contents` by the file's; after a failure they are unspecified. A file of more than `maximum`
/// bytes is refused with EFBIG once that many were read. Never waits for the writer of a pipe.
bool File_ReadWhole(const char* path, std::string& contents, std::size_t maximum);
bool File_ReadWhole(const char* path, Secret_Text& contents, std::size_t maximum);

/// Replaces the file, or makes it, so that at every moment, also after a crash of the process or the machine,
/// the path names either all of the old contents or all of the new. The new ones go to a new file, `path` +
/// `suffix`, which is flushed and renamed; a leftover of that name is removed first. Owner and permissions of
/// an existing file are kept; a new one gets `mode` less the umask. On failure the new file is removed and
/// the old one stands. One writer of a path at a time: callers hold the mutex that goes with the file.
bool File_WriteAtomically(const char* path, const char* suffix, std::string_view contents, mode_t mode);

/// The last step of a replacement: what has been written to the temporary file, which is open as `descriptor`
/// and lies in the same folder, is flushed and takes the path's place. On failure both files stay.
bool File_MoveIntoPlace(int descriptor, const char* temporary, const char* path);
