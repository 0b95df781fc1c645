#include "predicates/Predicate_Predicate.h"

#include "xml/XMLSerializable_Element.h"
#include "xml/Xerces_Document.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace {

constexpr const char* elementName = "Predicate";

struct OperatorRow {
    Predicate_Predicate::Operator op;
    const char* name;
    int operands;
    const char* sign; ///< for the log
};

constexpr OperatorRow operators[] = {
    {Predicate_Predicate::GreaterThan, "greaterThan", 1, ">"},
    {Predicate_Predicate::GreaterThanOrEqualTo, "greaterThanOrEqualTo", 1, ">="},
    {Predicate_Predicate::LessThan, "lessThan", 1, "<"},
    {Predicate_Predicate::LessThanOrEqualTo, "lessThanOrEqualTo", 1, "<="},
    {Predicate_Predicate::Equal, "equal", 1, "=="},
    {Predicate_Predicate::Between, "between", 2, "between"},
    {Predicate_Predicate::BeginsWith, "beginsWith", 1, "begins with"},
    {Predicate_Predicate::EndsWith, "endsWith", 1, "ends with"},
    {Predicate_Predicate::Contains, "contains", 1, "contains"},
    {Predicate_Predicate::IsAnything, "isAnything", 0, "isAnything"},
    {Predicate_Predicate::Like, "like", 1, "like"},
};

const OperatorRow* rowOf(Predicate_Predicate::Operator op) {
    const auto row = std::find_if(std::begin(operators), std::end(operators),
                                  [op](const OperatorRow& each) { return each.op == op; });
    return row != std::end(operators) ? row : nullptr;
}

} // namespace

const char* Predicate_Exception::what() const noexcept {
    switch (code_) {
    case NoDataSources:
        return "no data sources";
    case NoData:
        return "a value cannot be fetched";
    case UnsupportedOperator:
        return "the operator does not fit the value";
    case MissingDate:
        return "a date is missing";
    case BadLogicalOperator:
        return "the logical operator is unknown";
    case EmptyCondition:
        return "the condition is empty";
    }
    return "unknown";
}

Predicate_Predicate::Operator Predicate_Predicate::operatorFromString(const char* text) {
    const auto row =
        std::find_if(std::begin(operators), std::end(operators),
                     [text](const OperatorRow& each) { return std::strcmp(each.name, textOf(text)) == 0; });
    return row != std::end(operators) ? row->op : NoOperator;
}

const char* Predicate_Predicate::operatorToString(Operator op) {
    const OperatorRow* row = rowOf(op);
    return row != nullptr ? row->name : "";
}

Predicate_Predicate::OperatorModifier Predicate_Predicate::operatorModifierFromString(const char* text) {
    return std::strcmp(textOf(text), "not") == 0 ? Not : Is;
}

const char* Predicate_Predicate::operatorModifierToString(OperatorModifier modifier) {
    return modifier == Not ? "not" : "is";
}

int Predicate_Predicate::numberOfOperands(Operator op) const {
    const OperatorRow* row = rowOf(op == NoOperator ? operator_ : op);
    return row != nullptr ? row->operands : 0;
}

bool Predicate_Predicate::parse(xercesc::DOMElement* element) {
    return element != nullptr && XMLSerializable_Attempt([&] {
               if (Xerces_TagName(*element) != elementName)
                   return false;
               if (const std::string nameSpace = Xerces_GetAttribute(*element, "valueNameSpace");
                   !nameSpace.empty())
                   valueNameSpace_ = nameSpace;
               valueName_ = Xerces_GetAttribute(*element, "valueName");
               operator_ = operatorFromString(Xerces_GetAttribute(*element, "operator").c_str());
               if (valueName_.empty() || operator_ == NoOperator || operator_ == Like)
                   return false;
               if (const std::string modifier = Xerces_GetAttribute(*element, "operatorModifier");
                   !modifier.empty())
                   operatorModifier_ = operatorModifierFromString(modifier.c_str());
               return parseOperand(Xerces_GetAttribute(*element, "operand1"), firstSubstitute_,
                                   &Predicate_Predicate::parseFirstOperand) &&
                      parseOperand(Xerces_GetAttribute(*element, "operand2"), secondSubstitute_,
                                   &Predicate_Predicate::parseSecondOperand);
           });
}

bool Predicate_Predicate::parseOperand(const std::string& text, std::string& substitute,
                                       bool (Predicate_Predicate::*parseLiteral)(const char*)) {
    substitute.clear();
    if (!text.starts_with(Predicate_SubstituteMark))
        return (this->*parseLiteral)(text.c_str());
    substitute = text.substr(std::strlen(Predicate_SubstituteMark));
    return !substitute.empty();
}

bool Predicate_Predicate::serialize(xercesc::DOMDocument* document, xercesc::DOMElement* parent,
                                    xercesc::DOMElement* element) {
    return XMLSerializable_Attempt([&] {
        XMLSerializable_Element form(document, element, elementName);
        if (!valueNameSpace_.empty())
            Xerces_SetAttribute(*form, "valueNameSpace", valueNameSpace_);
        Xerces_SetAttribute(*form, "valueName", valueName_);
        Xerces_SetAttribute(*form, "operator", operatorToString(operator_));
        if (operatorModifier_ != Is)
            Xerces_SetAttribute(*form, "operatorModifier", operatorModifierToString(operatorModifier_));
        const auto writeOperand = [&](const char* name, const std::string& substitute,
                                      bool (Predicate_Predicate::*literal)(std::string*) const) {
            std::string text;
            if (!substitute.empty())
                Xerces_SetAttribute(*form, name, Predicate_SubstituteMark + substitute);
            else if ((this->*literal)(&text))
                Xerces_SetAttribute(*form, name, text);
        };
        const int operands = numberOfOperands(NoOperator);
        if (operands > 0)
            writeOperand("operand1", firstSubstitute_, &Predicate_Predicate::serializeFirstOperand);
        if (operands > 1)
            writeOperand("operand2", secondSubstitute_, &Predicate_Predicate::serializeSecondOperand);
        form.appendTo(parent);
        return true;
    });
}

bool Predicate_Predicate::toString(std::string* text) const {
    const OperatorRow* row = rowOf(operator_);
    if (text == nullptr || row == nullptr)
        return false;
    *text += "('" + valueName_ + "' ";
    if (operatorModifier_ == Not)
        *text += "not ";
    *text += row->sign;
    std::string operand;
    if (row->operands > 0 && serializeFirstOperand(&operand))
        *text += " '" + operand + '\'';
    if (row->operands > 1 && serializeSecondOperand(&operand))
        *text += " and '" + operand + '\'';
    *text += ')';
    return true;
}

bool Predicate_Predicate::copyDataFromSources() {
    dataCopied_ = false;
    if (dataSourceMap_ == nullptr)
        throw Predicate_Exception(Predicate_Exception::NoDataSources);
    Predicate_DataSource* const source = Predicate_FindDataSource(*dataSourceMap_, valueNameSpace_);
    if (source == nullptr)
        return false;
    const auto fetch = [&](const std::string& name, Predicate_DataSourceRecipient* recipient) {
        return source->setRecipientData(name.c_str(), recipient);
    };
    if (!firstSubstitute_.empty() && !fetch(firstSubstitute_, getRecipient1()))
        return false;
    if (!secondSubstitute_.empty() && !fetch(secondSubstitute_, getRecipient2()))
        return false;
    dataCopied_ = fetch(valueName_, getRecipient());
    return dataCopied_;
}

bool Predicate_Predicate::evaluate() {
    if (!dataCopied_ && !getValueSet() && !copyDataFromSources())
        throw Predicate_Exception(Predicate_Exception::NoData);
    return evaluateOp();
}

bool Predicate_Predicate::copyInto(Predicate_Predicate* target) const {
    if (target == nullptr)
        return false;
    target->valueNameSpace_ = valueNameSpace_;
    target->valueName_ = valueName_;
    target->operator_ = operator_;
    target->operatorModifier_ = operatorModifier_;
    target->firstSubstitute_ = firstSubstitute_;
    target->secondSubstitute_ = secondSubstitute_;
    return true;
}
