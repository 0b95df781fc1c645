#include "exec/Exec_ExecResult.h"

#include <utility>

Exec_ExecResult::Exec_ExecResult() : Exec_ExecResult(EXEC_PENDING, "pending execution") {}

Exec_ExecResult::Exec_ExecResult(ExecResultCode code, std::string errorString)
    : code_(code), errorString_(std::move(errorString)) {}

void Exec_ExecResult::setErrorString(std::string errorString) {
    errorString_ = std::move(errorString);
}
