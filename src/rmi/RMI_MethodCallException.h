#pragma once

/// How a call to the server reports that it failed. Thrown by value.
class RMI_MethodCallException {
public:
    enum ExceptionCode {
        CallFailed = 2,       ///< the only code that leaves RMI_MethodCall::invoke
        ExchangeFailed = 3,   ///< no HTTP reply with status 200
        ParametersFailed = 4, ///< the parameters could not be put together
    };

    explicit RMI_MethodCallException(ExceptionCode code) : code_(code) {}
    ExceptionCode getExceptionCode() const { return code_; }

private:
    ExceptionCode code_;
};
