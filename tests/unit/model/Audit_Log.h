#pragma once

#include "base/Temporary_Directory.h"
#include "log/Debug_Printf.h"

#include <algorithm>
#include <sstream>
#include <string>
#include <string_view>

/// Keeps the log in a file as long as it lives.
class Audit_Log {
public:
    Audit_Log() { EXPECT_TRUE(gDebugPrintf.logfile_open((directory_ / "log").c_str())); }
    Audit_Log(const Audit_Log&) = delete;
    Audit_Log& operator=(const Audit_Log&) = delete;
    ~Audit_Log() { gDebugPrintf.logfile_close(); }

    /// The messages so far, without their time stamps.
    std::string messages() const {
        constexpr std::size_t stampLength = std::string_view("YYYY-MM-DD hh:mm:ss: ").size();
        std::istringstream lines(contentsOf(directory_ / "log"));
        std::string result;
        for (std::string line; std::getline(lines, line);)
            result += line.substr(std::min(stampLength, line.size())) + '\n';
        return result;
    }

private:
    Temporary_Directory directory_;
};
