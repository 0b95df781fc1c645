#pragma once

/// A failure of a configuration file. Nothing of the agent throws it: operations give false and keep a
/// reason.
class Config_Exception {
public:
    enum ExceptionCode { GeneralFailure = 1 };

    explicit Config_Exception(ExceptionCode code) : code_(code) {}
    ExceptionCode getExceptionCode() const { return code_; }

private:
    ExceptionCode code_;
};
