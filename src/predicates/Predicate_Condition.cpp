#include "predicates/Predicate_Condition.h"

#include "xml/XMLSerializable_Element.h"
#include "xml/Xerces_Document.h"

#include <algorithm>
#include <cstring>
#include <strings.h>

namespace {

constexpr const char* conditionName = "Condition";
constexpr const char* predicateName = "Predicate";
/// Tests of these are cheap.
constexpr const char* cheapTypes[] = {"boolean", "integer", "uinteger", "float"};

bool isCheap(const char* type) {
    return std::any_of(std::begin(cheapTypes), std::end(cheapTypes),
                       [type](const char* each) { return strcasecmp(each, type) == 0; });
}

} // namespace

void Predicate_Condition::clear() noexcept {
    // An empty deque of the library's takes memory, of which there may be none.
    predicates_.clear();
    Conditions().swap(conditions_);
}

void Predicate_Condition::registerDataSourceMap(const Predicate_DataSourceMap* sources) {
    dataSourceMap_ = sources;
    for (const auto& predicate : predicates_)
        if (predicate)
            predicate->registerDataSourceMap(sources);
    for (const auto& condition : conditions_)
        if (condition)
            condition->registerDataSourceMap(sources);
}

void Predicate_Condition::registerPredicateFactory(const Predicate_PredicateFactory* factory) {
    predicateFactory_ = factory;
    for (const auto& condition : conditions_)
        if (condition)
            condition->registerPredicateFactory(factory);
}

bool Predicate_Condition::parse(xercesc::DOMElement* element) {
    if (element == nullptr || dataSourceMap_ == nullptr || predicateFactory_ == nullptr)
        return false;
    std::size_t room = MaximumMembers;
    if (XMLSerializable_Attempt([&] { return parse(*element, 1, room); }))
        return true;
    clear();
    return false;
}

bool Predicate_Condition::parse(const xercesc::DOMElement& element, int depth, std::size_t& room) {
    clear();
    if (depth > MaximumDepth || Xerces_TagName(element) != conditionName)
        return false;
    if (const std::string op = Xerces_GetAttribute(element, "logicalOperator"); !op.empty())
        logicalOperator_ = op == "or" ? Or : And;
    for (xercesc::DOMElement* child : Xerces_ChildElements(element)) {
        const std::string tag = Xerces_TagName(*child);
        if (tag != conditionName && tag != predicateName)
            continue;
        if (room-- == 0)
            return false;
        if (tag == conditionName) {
            Predicate_Condition& nested = *conditions_.emplace_back(std::make_unique<Predicate_Condition>());
            nested.dataSourceMap_ = dataSourceMap_;
            nested.predicateFactory_ = predicateFactory_;
            if (!nested.parse(*child, depth + 1, room))
                return false;
        } else if (!parsePredicate(*child)) {
            return false;
        }
    }
    return true;
}

bool Predicate_Condition::parsePredicate(xercesc::DOMElement& element) {
    const Predicate_DataSource* source =
        Predicate_FindDataSource(*dataSourceMap_, Xerces_GetAttribute(element, "valueNameSpace"));
    const std::string name = Xerces_GetAttribute(element, "valueName");
    if (source == nullptr || name.empty())
        return false;
    const char* const type = source->getTypeName(name.c_str());
    std::unique_ptr<Predicate_Predicate> predicate = predicateFactory_->createPredicate(type);
    if (!predicate)
        return false;
    predicate->registerDataSourceMap(dataSourceMap_);
    if (!predicate->parse(&element))
        return false;
    // What stands for an operand must be of the same type as the value.
    const auto fits = [&](const std::string& substitute) {
        return substitute.empty() || std::strcmp(source->getTypeName(substitute.c_str()), type) == 0;
    };
    if (!fits(predicate->getFirstOperandSubstituteName()) ||
        !fits(predicate->getSecondOperandSubstituteName()))
        return false;
    if (isCheap(type))
        predicates_.push_front(std::move(predicate));
    else
        predicates_.push_back(std::move(predicate));
    return true;
}

bool Predicate_Condition::serialize(xercesc::DOMDocument* document, xercesc::DOMElement* parent,
                                    xercesc::DOMElement* element) {
    return XMLSerializable_Attempt([&] {
        if (logicalOperator_ != And && logicalOperator_ != Or)
            return false;
        XMLSerializable_Element form(document, element, conditionName);
        Xerces_SetAttribute(*form, "logicalOperator", logicalOperator_ == Or ? "or" : "and");
        for (const auto& predicate : predicates_)
            if (predicate && !predicate->serialize(document, form.get(), nullptr))
                return false;
        for (const auto& condition : conditions_)
            if (condition && !condition->serialize(document, form.get(), nullptr))
                return false;
        form.appendTo(parent);
        return true;
    });
}

bool Predicate_Condition::isValueNameReferenced(const char* valueName, const char* operandText) const {
    if (valueName == nullptr || operandText == nullptr)
        return false;
    const auto refers = [&](const auto& predicate) {
        std::string operand;
        return predicate && strcasecmp(predicate->getValueName().c_str(), valueName) == 0 &&
               predicate->serializeFirstOperand(&operand) && operand == operandText;
    };
    return std::any_of(predicates_.begin(), predicates_.end(), refers) ||
           std::any_of(conditions_.begin(), conditions_.end(), [&](const auto& condition) {
               return condition && condition->isValueNameReferenced(valueName, operandText);
           });
}

bool Predicate_Condition::copyDataFromSources() {
    const bool mayLackValues = dataSourceMap_ != nullptr && dataSourceMap_->size() > 1;
    for (const auto& predicate : predicates_)
        if (predicate && !predicate->copyDataFromSources() && !mayLackValues)
            return false;
    return std::all_of(conditions_.begin(), conditions_.end(),
                       [](const auto& condition) { return !condition || condition->copyDataFromSources(); });
}

bool Predicate_Condition::evaluate() {
    if (predicates_.empty() && conditions_.empty() && (logicalOperator_ == And || logicalOperator_ == Or))
        throw Predicate_Exception(Predicate_Exception::EmptyCondition);
    return evaluateMembers();
}

bool Predicate_Condition::evaluateMembers() {
    if (logicalOperator_ != And && logicalOperator_ != Or)
        throw Predicate_Exception(Predicate_Exception::BadLogicalOperator);
    const bool stopValue = logicalOperator_ == Or;
    for (const auto& predicate : predicates_)
        if (predicate && predicate->evaluate() == stopValue)
            return stopValue;
    for (const auto& condition : conditions_)
        if (condition && condition->evaluateMembers() == stopValue)
            return stopValue;
    return !stopValue;
}

bool Predicate_Condition::toString(std::string* text) const {
    if (text == nullptr)
        return false;
    const char* const joint = logicalOperator_ == Or ? " || " : " && ";
    bool isFirst = true;
    const auto append = [&](const auto& member) {
        if (!member)
            return true;
        if (!isFirst)
            *text += joint;
        isFirst = false;
        return member->toString(text);
    };
    *text += '(';
    const bool succeeded = std::all_of(predicates_.begin(), predicates_.end(), append) &&
                           std::all_of(conditions_.begin(), conditions_.end(), append);
    *text += ')';
    return succeeded;
}

bool Predicate_Condition::copyInto(Predicate_Condition* target) const {
    if (target == nullptr || target == this)
        return false;
    if (XMLSerializable_Attempt([&] { return copyMembersInto(*target); }))
        return true;
    target->clear();
    return false;
}

bool Predicate_Condition::copyMembersInto(Predicate_Condition& target) const {
    target.clear();
    target.logicalOperator_ = logicalOperator_;
    const Predicate_PredicateFactory* factory =
        target.predicateFactory_ != nullptr ? target.predicateFactory_ : predicateFactory_;
    for (const auto& predicate : predicates_) {
        std::unique_ptr<Predicate_Predicate> copy =
            factory != nullptr && predicate ? factory->createPredicate(predicate->getTypeName()) : nullptr;
        if (!copy)
            return false;
        copy->registerDataSourceMap(target.dataSourceMap_);
        if (!predicate->copyInto(copy.get()))
            return false;
        target.predicates_.push_back(std::move(copy));
    }
    for (const auto& condition : conditions_) {
        Predicate_Condition& nested =
            *target.conditions_.emplace_back(std::make_unique<Predicate_Condition>());
        nested.dataSourceMap_ = target.dataSourceMap_;
        nested.predicateFactory_ = factory;
        if (!condition || !condition->copyMembersInto(nested))
            return false;
    }
    return true;
}
