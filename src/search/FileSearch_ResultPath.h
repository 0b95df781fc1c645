#pragma once

#include <optional>
#include <string>
#include <string_view>

/// The token of a search on a host that another one stands for: what the server knows, "_" and the host.
std::string FileSearch_Token(const std::string& serverToken, const std::string& hostTarget);
/// What the server knows it by: the part before the first "_".
std::string FileSearch_ServerToken(const std::string& token);
/// Whether it can name files that lie in one directory: it has neither "/" nor "..", and is not empty.
bool FileSearch_IsToken(std::string_view token);

/// Where the files of a search lie. `name` is the search token; none for a null argument.
///
/// The volume's path is part of the name of its two files, in Base64 with "-" for "/".
std::optional<std::string> FileSearch_VolumePath(const char* name, const char* volume, const char* directory,
                                                 const char* ending);
std::optional<std::string> FileSearch_TokenPath(const char* name, const char* directory, const char* ending);
