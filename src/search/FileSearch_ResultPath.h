#pragma once

#include <optional>
#include <string>

/// Where the files of a search lie. `name` is the search token; none for a null argument.
///
/// The volume's path is part of the name of its two files, in Base64 with "-" for "/".
std::optional<std::string> FileSearch_VolumePath(const char* name, const char* volume, const char* directory,
                                                 const char* ending);
std::optional<std::string> FileSearch_TokenPath(const char* name, const char* directory, const char* ending);
