#pragma once

#include <exception>

/// A condition cannot be evaluated.
class Predicate_Exception : public std::exception {
public:
    enum ExceptionCode : int {
        NoDataSources = 1,
        NoData = 3,              ///< a value could not be fetched
        UnsupportedOperator = 4, ///< not one of the value's type
        MissingDate = 5,
        BadLogicalOperator = 6,
        EmptyCondition = 7
    };

    explicit Predicate_Exception(ExceptionCode code) : code_(code) {}

    ExceptionCode getCode() const { return code_; }
    const char* what() const noexcept override;

private:
    ExceptionCode code_;
};
