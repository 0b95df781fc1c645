#pragma once

#include "predicates/Predicate_DataSourceRecipients.h"
#include "predicates/Predicate_Predicate.h"

#include <cstdint>
#include <string>

/// What the predicates of the plain types share: three recipients of the type, for the value under test and
/// for the values that stand for operands, and two operands.
template <typename Recipient>
class Predicate_TypedPredicate : public Predicate_Predicate {
public:
    using Operand = typename Recipient::Value;

    const char* getTypeName() const override { return value_.getTypeName(); }
    bool parseValue(const char* text) override { return value_.parseValue(text); }
    bool serializeValue(std::string* text) const override { return value_.serializeValue(text); }
    bool isOperatorSupported(Operator op) const override {
        const Operator asked = op == NoOperator ? getOperator() : op;
        return asked >= firstOperator_ && asked <= lastOperator_;
    }
    Predicate_DataSourceRecipient* getRecipient() override { return &value_; }
    Predicate_DataSourceRecipient* getRecipient1() override { return &value1_; }
    Predicate_DataSourceRecipient* getRecipient2() override { return &value2_; }
    bool copyInto(Predicate_Predicate* target) const override {
        auto* const same = dynamic_cast<Predicate_TypedPredicate*>(target);
        if (same == nullptr || !Predicate_Predicate::copyInto(target))
            return false;
        same->firstOperand_ = firstOperand_;
        same->secondOperand_ = secondOperand_;
        return true;
    }

    const Operand& getFirstOperand() const { return firstOperand_; }
    void setFirstOperand(const Operand& operand) { firstOperand_ = operand; }
    const Operand& getSecondOperand() const { return secondOperand_; }
    void setSecondOperand(const Operand& operand) { secondOperand_ = operand; }
    Operand getValue() const { return value_.getValue(); }
    Operand getValue1() const { return value1_.getValue(); }
    Operand getValue2() const { return value2_.getValue(); }
    void setValue(const Operand& value) { set(value_, value); }
    void setValue1(const Operand& value) { set(value1_, value); }
    void setValue2(const Operand& value) { set(value2_, value); }

protected:
    /// `arguments` make a recipient.
    template <typename... Arguments>
    Predicate_TypedPredicate(Operator firstOperator, Operator lastOperator, Arguments... arguments)
        : value_(arguments...), value1_(arguments...), value2_(arguments...), firstOperator_(firstOperator),
          lastOperator_(lastOperator) {}

    const Recipient& recipient() const { return value_; }
    void takeSubstitutes() {
        if (getFirstOperandSubstituteFlag())
            firstOperand_ = value1_.getValue();
        if (getSecondOperandSubstituteFlag())
            secondOperand_ = value2_.getValue();
    }
    /// The result for an operator that orders. `compare` gives the order of the value and an operand as
    /// strcmp(3) does.
    template <typename Compare>
    bool evaluateOrder(Compare compare) const {
        switch (getOperator()) {
        case GreaterThan:
            return compare(firstOperand_) > 0;
        case GreaterThanOrEqualTo:
            return compare(firstOperand_) >= 0;
        case LessThan:
            return compare(firstOperand_) < 0;
        case LessThanOrEqualTo:
            return compare(firstOperand_) <= 0;
        case Equal:
            return compare(firstOperand_) == 0;
        case Between:
            return compare(firstOperand_) >= 0 && compare(secondOperand_) <= 0;
        default:
            throw Predicate_Exception(Predicate_Exception::UnsupportedOperator);
        }
    }

    Operand firstOperand_{};
    Operand secondOperand_{};

private:
    void set(Recipient& recipient, const Operand& value) {
        recipient.setValue(value);
        setValueSet(recipient.getValueSet());
    }

    Recipient value_;
    Recipient value1_;
    Recipient value2_;
    const Operator firstOperator_;
    const Operator lastOperator_;
};

class Predicate_PredicateBoolean : public Predicate_TypedPredicate<Predicate_DataSourceRecipientBoolean> {
public:
    Predicate_PredicateBoolean() : Predicate_TypedPredicate(Equal, Equal) {}

    bool parseFirstOperand(const char* text) override;
    bool parseSecondOperand(const char* text) override;
    bool serializeFirstOperand(std::string* text) const override;
    bool serializeSecondOperand(std::string* text) const override;
    bool evaluateOp() override;
};

class Predicate_PredicateInteger : public Predicate_TypedPredicate<Predicate_DataSourceRecipientInteger> {
public:
    explicit Predicate_PredicateInteger(bool isSigned) : Predicate_PredicateInteger(isSigned, false) {}

    bool parseFirstOperand(const char* text) override;
    bool parseSecondOperand(const char* text) override;
    bool serializeFirstOperand(std::string* text) const override;
    bool serializeSecondOperand(std::string* text) const override;
    bool evaluateOp() override;

protected:
    Predicate_PredicateInteger(bool isSigned, bool isHex)
        : Predicate_TypedPredicate(GreaterThan, Between, isSigned, isHex), isHex_(isHex) {}

private:
    std::uint64_t read(const char* text) const;
    bool write(std::uint64_t operand, std::string* text) const;

    const bool isHex_;
};

/// Unsigned, and hexadecimal as text.
class Predicate_PredicateHexInteger : public Predicate_PredicateInteger {
public:
    Predicate_PredicateHexInteger() : Predicate_PredicateInteger(false, true) {}

    const char* getTypeName() const override { return "hexinteger"; }
};

class Predicate_PredicateFloat : public Predicate_TypedPredicate<Predicate_DataSourceRecipientFloat> {
public:
    Predicate_PredicateFloat() : Predicate_TypedPredicate(GreaterThan, Between) {}

    bool parseFirstOperand(const char* text) override;
    bool parseSecondOperand(const char* text) override;
    bool serializeFirstOperand(std::string* text) const override;
    bool serializeSecondOperand(std::string* text) const override;
    bool evaluateOp() override;
};

class Predicate_PredicateString : public Predicate_TypedPredicate<Predicate_DataSourceRecipientString> {
public:
    explicit Predicate_PredicateString(bool isCaseSensitive)
        : Predicate_TypedPredicate(GreaterThan, IsAnything, isCaseSensitive) {}

    bool parseFirstOperand(const char* text) override;
    bool parseSecondOperand(const char* text) override;
    bool serializeFirstOperand(std::string* text) const override;
    bool serializeSecondOperand(std::string* text) const override;
    bool evaluateOp() override;

protected:
    /// The order of the value and an operand.
    virtual int compare(const std::string& operand) const;

private:
    bool isSame(const char* one, const char* other, std::size_t length) const;
    bool contains() const;
};

/// Texts that are ordered as the hexadecimal numbers that they are, and without regard to case otherwise.
class Predicate_PredicateHexString : public Predicate_PredicateString {
public:
    Predicate_PredicateHexString() : Predicate_PredicateString(false) {}

    const char* getTypeName() const override { return "hexstring"; }

protected:
    int compare(const std::string& operand) const override;
};
