#pragma once

#include <string>
#include <utility>

/// How a method reports that it failed: the code chooses the outcome word of the reply, the reason explains
/// it. Thrown by value, caught by reference.
class RMI_MethodException {
public:
    /// Any int is a value: what is not listed is an error without a word of its own.
    enum ExceptionCode : int {
        None = 0,
        Success = 6, ///< nothing went wrong
        GeneralFailure = 7,
        NoParameters = 8,
        InvalidParameters = 9,
        TooFewParameters = 10,
        TooManyParameters = 11,
    };

    RMI_MethodException() = default;
    explicit RMI_MethodException(ExceptionCode code) : code_(code) {}
    RMI_MethodException(ExceptionCode code, std::string reason) : code_(code), reason_(std::move(reason)) {}

    ExceptionCode getExceptionCode() const { return code_; }
    /// Empty unless given.
    std::string getReason() const { return reason_; }

private:
    ExceptionCode code_ = None;
    std::string reason_;
};
