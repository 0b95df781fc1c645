#pragma once

#include "predicates/Predicate_DataSource.h"
#include "predicates/Predicate_Exception.h"
#include "xml/XMLSerializable_XMLSerializable.h"

#include <string>

/// Compares one named value with operands, which are literals or other values of the same source. Typed
/// predicates say how. For one thread at a time; null texts are empty ones.
class Predicate_Predicate : public XMLSerializable_XMLSerializable, public Predicate_DataSourceRecipient {
public:
    enum Operator : int {
        GreaterThan = 1,
        GreaterThanOrEqualTo,
        LessThan,
        LessThanOrEqualTo,
        Equal,
        Between,
        BeginsWith,
        EndsWith,
        Contains,
        IsAnything,
        Like,
        NoOperator = 999
    };
    enum OperatorModifier : int { Is = 1, Not = 2 };

    bool parse(xercesc::DOMElement* element) override;
    bool serialize(xercesc::DOMDocument* document, xercesc::DOMElement* parent,
                   xercesc::DOMElement* element) override;
    /// Of the predicate's own operator for NoOperator.
    virtual int numberOfOperands(Operator op) const;
    virtual bool parseFirstOperand(const char* text) = 0;
    virtual bool parseSecondOperand(const char* text) = 0;
    virtual bool serializeFirstOperand(std::string* text) const = 0;
    virtual bool serializeSecondOperand(std::string* text) const = 0;
    /// Asks about the predicate's own operator for NoOperator. A parse does not ask.
    virtual bool isOperatorSupported(Operator op) const = 0;
    /// Throws Predicate_Exception.
    virtual bool evaluateOp() = 0;
    /// What takes the value under test, and the values that stand for operands.
    virtual Predicate_DataSourceRecipient* getRecipient() = 0;
    virtual Predicate_DataSourceRecipient* getRecipient1() = 0;
    virtual Predicate_DataSourceRecipient* getRecipient2() = 0;
    /// Empty for the first source there is.
    virtual const std::string& getValueNameSpace() const { return valueNameSpace_; }
    virtual void setValueNameSpace(const char* nameSpace) { valueNameSpace_ = textOf(nameSpace); }
    virtual const std::string& getValueName() const { return valueName_; }
    virtual void setValueName(const char* name) { valueName_ = textOf(name); }
    virtual Operator getOperator() const { return operator_; }
    virtual void setOperator(Operator op) { operator_ = op; }
    virtual OperatorModifier getOperatorModifier() const { return operatorModifier_; }
    virtual void setOperatorModifier(OperatorModifier modifier) { operatorModifier_ = modifier; }
    /// Appends the predicate as a person reads it in the log.
    virtual bool toString(std::string* text) const;
    virtual const Predicate_DataSourceMap* getDataSourceMap() const { return dataSourceMap_; }
    /// `sources` is borrowed.
    virtual void registerDataSourceMap(const Predicate_DataSourceMap* sources) { dataSourceMap_ = sources; }
    /// Fetches the values. False if one cannot be fetched. Throws Predicate_Exception without sources.
    virtual bool copyDataFromSources();
    /// Fetches the values if nobody has. Throws Predicate_Exception.
    virtual bool evaluate();
    /// False if `target` is null or of another type.
    virtual bool copyInto(Predicate_Predicate* target) const;

    bool getFirstOperandSubstituteFlag() const { return !firstSubstitute_.empty(); }
    bool getSecondOperandSubstituteFlag() const { return !secondSubstitute_.empty(); }
    const std::string& getFirstOperandSubstituteName() const { return firstSubstitute_; }
    const std::string& getSecondOperandSubstituteName() const { return secondSubstitute_; }

    /// NoOperator for a text that is none.
    static Operator operatorFromString(const char* text);
    static const char* operatorToString(Operator op);
    static OperatorModifier operatorModifierFromString(const char* text);
    static const char* operatorModifierToString(OperatorModifier modifier);

protected:
    static const char* textOf(const char* text) { return text != nullptr ? text : ""; }
    bool modified(bool result) const { return operatorModifier_ == Not ? !result : result; }

private:
    bool parseOperand(const std::string& text, std::string& substitute,
                      bool (Predicate_Predicate::*parseLiteral)(const char*));

    std::string valueNameSpace_;
    std::string valueName_;
    Operator operator_ = NoOperator;
    OperatorModifier operatorModifier_ = Is;
    const Predicate_DataSourceMap* dataSourceMap_ = nullptr;
    bool dataCopied_ = false;
    /// Names of values that stand for operands; empty for a literal.
    std::string firstSubstitute_;
    std::string secondSubstitute_;
};
