#pragma once

/// Why a Thread_Pool did not take a runnable. Thrown by value; the caller still owns the runnable.
class Thread_ThreadPoolException {
public:
    enum ExceptionCode { QueueFull = 1 };

    explicit Thread_ThreadPoolException(ExceptionCode code) : code_(code) {}
    ExceptionCode getExceptionCode() const { return code_; }

private:
    ExceptionCode code_;
};
