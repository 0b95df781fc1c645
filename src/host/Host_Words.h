#pragma once

#include "host/Host_Host.h"

#include <cstdint>
#include <string>
#include <vector>

/// The answers of a host as words, the form in which they are recorded, and back. Reading gives false for
/// words that are no such answer.
using Host_Words = std::vector<std::string>;

Host_Words Host_ToWords(const std::string& text);
Host_Words Host_ToWords(const std::vector<std::string>& names);
Host_Words Host_ToWords(int number);
Host_Words Host_ToWords(std::uint64_t number);
Host_Words Host_ToWords(bool yes);
Host_Words Host_ToWords(const Host_Node& node);
Host_Words Host_ToWords(const Host_FileSystem& fileSystem);
Host_Words Host_ToWords(const Host_ScsiAddress& address);

bool Host_FromWords(const Host_Words& words, std::string& text);
bool Host_FromWords(const Host_Words& words, std::vector<std::string>& names);
bool Host_FromWords(const Host_Words& words, int& number);
bool Host_FromWords(const Host_Words& words, std::uint64_t& number);
bool Host_FromWords(const Host_Words& words, bool& yes);
bool Host_FromWords(const Host_Words& words, Host_Node& node);
bool Host_FromWords(const Host_Words& words, Host_FileSystem& fileSystem);
bool Host_FromWords(const Host_Words& words, Host_ScsiAddress& address);
