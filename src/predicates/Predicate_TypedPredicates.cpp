#include "predicates/Predicate_TypedPredicates.h"

#include "base/String_Functions.h"

#include <cstdlib>
#include <cstring>
#include <strings.h>

namespace {

template <typename Number>
int order(Number one, Number other) {
    return one < other ? -1 : one > other ? 1 : 0;
}

/// An operand has the text form of a value.
template <typename Recipient>
typename Recipient::Value operandOf(Recipient recipient, const char* text) {
    recipient.parseValue(text);
    return recipient.getValue();
}

template <typename Recipient>
bool writeOperand(Recipient recipient, const typename Recipient::Value& operand, std::string* text) {
    recipient.setValue(operand);
    return recipient.serializeValue(text);
}

} // namespace

bool Predicate_PredicateBoolean::parseFirstOperand(const char* text) {
    firstOperand_ = operandOf(Predicate_DataSourceRecipientBoolean(), text);
    return true;
}

bool Predicate_PredicateBoolean::parseSecondOperand(const char* text) {
    secondOperand_ = operandOf(Predicate_DataSourceRecipientBoolean(), text);
    return true;
}

bool Predicate_PredicateBoolean::serializeFirstOperand(std::string* text) const {
    return writeOperand(Predicate_DataSourceRecipientBoolean(), firstOperand_, text);
}

bool Predicate_PredicateBoolean::serializeSecondOperand(std::string* text) const {
    return writeOperand(Predicate_DataSourceRecipientBoolean(), secondOperand_, text);
}

bool Predicate_PredicateBoolean::evaluateOp() {
    takeSubstitutes();
    if (getOperator() != Equal)
        throw Predicate_Exception(Predicate_Exception::UnsupportedOperator);
    return modified(getValue() == firstOperand_);
}

/// Also of a signed one without a sign: a minus makes the number that -1 and the like stand for in either.
std::uint64_t Predicate_PredicateInteger::read(const char* text) const {
    if (text == nullptr)
        return 0;
    return isHex_ ? nxhtoi(text) : std::strtoull(text, nullptr, 0);
}

bool Predicate_PredicateInteger::write(std::uint64_t operand, std::string* text) const {
    if (text == nullptr)
        return false;
    *text = Predicate_DataSourceRecipientInteger::textOf(operand, recipient().isSigned(), isHex_);
    return true;
}

bool Predicate_PredicateInteger::parseFirstOperand(const char* text) {
    firstOperand_ = read(text);
    return true;
}

bool Predicate_PredicateInteger::parseSecondOperand(const char* text) {
    secondOperand_ = read(text);
    return true;
}

bool Predicate_PredicateInteger::serializeFirstOperand(std::string* text) const {
    return write(firstOperand_, text);
}

bool Predicate_PredicateInteger::serializeSecondOperand(std::string* text) const {
    return write(secondOperand_, text);
}

bool Predicate_PredicateInteger::evaluateOp() {
    takeSubstitutes();
    const std::uint64_t value = getValue();
    return modified(evaluateOrder([&](std::uint64_t operand) {
        return recipient().isSigned()
                   ? order(static_cast<std::int64_t>(value), static_cast<std::int64_t>(operand))
                   : order(value, operand);
    }));
}

bool Predicate_PredicateFloat::parseFirstOperand(const char* text) {
    firstOperand_ = operandOf(Predicate_DataSourceRecipientFloat(), text);
    return true;
}

bool Predicate_PredicateFloat::parseSecondOperand(const char* text) {
    secondOperand_ = operandOf(Predicate_DataSourceRecipientFloat(), text);
    return true;
}

bool Predicate_PredicateFloat::serializeFirstOperand(std::string* text) const {
    return writeOperand(Predicate_DataSourceRecipientFloat(), firstOperand_, text);
}

bool Predicate_PredicateFloat::serializeSecondOperand(std::string* text) const {
    return writeOperand(Predicate_DataSourceRecipientFloat(), secondOperand_, text);
}

bool Predicate_PredicateFloat::evaluateOp() {
    takeSubstitutes();
    const double value = getValue();
    // What is no number is in no order, so each operator compares for itself.
    switch (getOperator()) {
    case GreaterThan:
        return modified(value > firstOperand_);
    case GreaterThanOrEqualTo:
        return modified(value >= firstOperand_);
    case LessThan:
        return modified(value < firstOperand_);
    case LessThanOrEqualTo:
        return modified(value <= firstOperand_);
    case Equal:
        return modified(value == firstOperand_);
    case Between:
        return modified(value >= firstOperand_ && value <= secondOperand_);
    default:
        throw Predicate_Exception(Predicate_Exception::UnsupportedOperator);
    }
}

bool Predicate_PredicateString::parseFirstOperand(const char* text) {
    firstOperand_ = textOf(text);
    return true;
}

bool Predicate_PredicateString::parseSecondOperand(const char* text) {
    secondOperand_ = textOf(text);
    return true;
}

bool Predicate_PredicateString::serializeFirstOperand(std::string* text) const {
    return writeOperand(Predicate_DataSourceRecipientString(false), firstOperand_, text);
}

bool Predicate_PredicateString::serializeSecondOperand(std::string* text) const {
    return writeOperand(Predicate_DataSourceRecipientString(false), secondOperand_, text);
}

int Predicate_PredicateString::compare(const std::string& operand) const {
    const char* const value = recipient().getValue().c_str();
    return recipient().getCaseSensitive() ? std::strcmp(value, operand.c_str())
                                          : strcasecmp(value, operand.c_str());
}

bool Predicate_PredicateString::isSame(const char* one, const char* other, std::size_t length) const {
    return (recipient().getCaseSensitive() ? std::strncmp(one, other, length)
                                           : strncasecmp(one, other, length)) == 0;
}

bool Predicate_PredicateString::contains() const {
    const std::string& value = recipient().getValue();
    return recipient().getCaseSensitive() ? value.find(firstOperand_) != std::string::npos
                                          : strcasestr(value.c_str(), firstOperand_.c_str()) != nullptr;
}

bool Predicate_PredicateString::evaluateOp() {
    takeSubstitutes();
    const std::string& value = recipient().getValue();
    const std::string& part = firstOperand_;
    switch (getOperator()) {
    case BeginsWith:
        return modified(isSame(value.c_str(), part.c_str(), part.size()));
    case EndsWith:
        return modified(value.size() >= part.size() &&
                        isSame(value.c_str() + value.size() - part.size(), part.c_str(), part.size()));
    case Contains:
        return modified(contains());
    case IsAnything:
        return modified(true);
    default:
        return modified(evaluateOrder([this](const std::string& operand) { return compare(operand); }));
    }
}

int Predicate_PredicateHexString::compare(const std::string& operand) const {
    return order(nxhtoi(recipient().getValue().c_str()), nxhtoi(operand.c_str()));
}
