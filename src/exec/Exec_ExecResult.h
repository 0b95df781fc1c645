#pragma once

#include <string>

enum ExecResultCode {
    EXEC_SUCCESS = 0, ///< the child ended with exit status 0
    EXEC_ERROR = 1,   ///< the program could not be run, or it ended abnormally
    EXEC_FAILURE = 2, ///< the child ended with another exit status
    EXEC_PENDING = 3  ///< not run yet
};

/// What became of a program that was run as a user: a code and a text for people. A plain value.
class Exec_ExecResult {
public:
    Exec_ExecResult();
    Exec_ExecResult(ExecResultCode code, std::string errorString);

    ExecResultCode getCode() const { return code_; }
    void setCode(ExecResultCode code) { code_ = code; }
    const std::string& getErrorString() const { return errorString_; }
    void setErrorString(std::string errorString);

private:
    ExecResultCode code_;
    std::string errorString_;
};
