#pragma once

#include "date/System_DateLinux.h"
#include "predicates/Predicate_Predicate.h"

#include <memory>
#include <string>

class SystemPredicate_DataSourceRecipientDate : public Predicate_DataSourceRecipient {
public:
    const char* getTypeName() const override { return "date"; }
    /// Empty is zero time. False for a text that is no date.
    bool parseValue(const char* text) override;
    bool serializeValue(std::string* text) const override;

    const System_Date* getValue() const { return &value_; }
    /// Copies the date; null is zero time.
    void setValue(const System_Date* date);

private:
    System_DateLinux value_;
};

/// Compares dates of UTC.
class SystemPredicate_PredicateDate : public Predicate_Predicate {
public:
    SystemPredicate_PredicateDate();

    const char* getTypeName() const override { return value_.getTypeName(); }
    bool parseValue(const char* text) override { return value_.parseValue(text); }
    bool serializeValue(std::string* text) const override { return value_.serializeValue(text); }
    bool parseFirstOperand(const char* text) override;
    bool parseSecondOperand(const char* text) override;
    bool serializeFirstOperand(std::string* text) const override;
    bool serializeSecondOperand(std::string* text) const override;
    bool isOperatorSupported(Operator op) const override;
    bool evaluateOp() override;
    Predicate_DataSourceRecipient* getRecipient() override { return &value_; }
    Predicate_DataSourceRecipient* getRecipient1() override { return &value1_; }
    Predicate_DataSourceRecipient* getRecipient2() override { return &value2_; }
    bool copyInto(Predicate_Predicate* target) const override;

    const System_Date* getFirstOperand() const { return firstOperand_.get(); }
    const System_Date* getSecondOperand() const { return secondOperand_.get(); }

private:
    bool isTrue() const;

    SystemPredicate_DataSourceRecipientDate value_;
    SystemPredicate_DataSourceRecipientDate value1_;
    SystemPredicate_DataSourceRecipientDate value2_;
    std::unique_ptr<System_Date> firstOperand_;
    std::unique_ptr<System_Date> secondOperand_;
};
