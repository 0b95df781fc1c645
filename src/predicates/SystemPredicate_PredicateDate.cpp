#include "predicates/SystemPredicate_PredicateDate.h"

namespace {

bool parseDate(System_Date& date, const char* text) {
    date.setToZeroTime();
    if (text == nullptr || *text == '\0')
        return true;
    const std::string held = text;
    return date.parse(&held);
}

} // namespace

bool SystemPredicate_DataSourceRecipientDate::parseValue(const char* text) {
    setValueSet(true);
    return parseDate(value_, text);
}

bool SystemPredicate_DataSourceRecipientDate::serializeValue(std::string* text) const {
    return value_.serialize(text);
}

void SystemPredicate_DataSourceRecipientDate::setValue(const System_Date* date) {
    if (date != nullptr)
        value_ = *date;
    else
        value_.setToZeroTime();
    setValueSet(true);
}

SystemPredicate_PredicateDate::SystemPredicate_PredicateDate()
    : firstOperand_(System_FactoryAllocateDate()), secondOperand_(System_FactoryAllocateDate()) {}

bool SystemPredicate_PredicateDate::parseFirstOperand(const char* text) {
    return parseDate(*firstOperand_, text);
}

bool SystemPredicate_PredicateDate::parseSecondOperand(const char* text) {
    return parseDate(*secondOperand_, text);
}

bool SystemPredicate_PredicateDate::serializeFirstOperand(std::string* text) const {
    return firstOperand_->serialize(text);
}

bool SystemPredicate_PredicateDate::serializeSecondOperand(std::string* text) const {
    return secondOperand_->serialize(text);
}

bool SystemPredicate_PredicateDate::isOperatorSupported(Operator op) const {
    const Operator asked = op == NoOperator ? getOperator() : op;
    return asked >= GreaterThan && asked <= Between;
}

bool SystemPredicate_PredicateDate::evaluateOp() {
    if (getFirstOperandSubstituteFlag())
        *firstOperand_ = *value1_.getValue();
    if (getSecondOperandSubstituteFlag())
        *secondOperand_ = *value2_.getValue();
    // An operator without operands compares with nothing.
    if (numberOfOperands(NoOperator) == 0)
        throw Predicate_Exception(Predicate_Exception::MissingDate);
    return modified(isTrue());
}

bool SystemPredicate_PredicateDate::isTrue() const {
    const System_Date& value = *value_.getValue();
    switch (getOperator()) {
    case GreaterThan:
        return value > *firstOperand_;
    case GreaterThanOrEqualTo:
        return value >= *firstOperand_;
    case LessThan:
        return value < *firstOperand_;
    case LessThanOrEqualTo:
        return value <= *firstOperand_;
    case Equal:
        return value == *firstOperand_;
    case Between:
        return value >= *firstOperand_ && value <= *secondOperand_;
    default:
        throw Predicate_Exception(Predicate_Exception::UnsupportedOperator);
    }
}

bool SystemPredicate_PredicateDate::copyInto(Predicate_Predicate* target) const {
    auto* const same = dynamic_cast<SystemPredicate_PredicateDate*>(target);
    if (same == nullptr || !Predicate_Predicate::copyInto(target))
        return false;
    *same->firstOperand_ = *firstOperand_;
    *same->secondOperand_ = *secondOperand_;
    return true;
}
