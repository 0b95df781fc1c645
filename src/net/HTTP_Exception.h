#pragma once

/// Thrown by an HTTP_File whose exchange has not got as far as the operation that was called.
class HTTP_Exception {
public:
    enum ExceptionCode {
        NoRequestReceived = 1,  ///< a server operation without a request
        NoResponseReceived = 2, ///< a client operation without a response
    };

    explicit HTTP_Exception(ExceptionCode code) : code_(code) {}
    ExceptionCode getExceptionCode() const { return code_; }

private:
    ExceptionCode code_;
};
