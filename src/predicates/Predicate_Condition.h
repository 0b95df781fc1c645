#pragma once

#include "predicates/Predicate_PredicateFactory.h"

#include <deque>
#include <memory>
#include <string>
#include <vector>

/// Joins predicates and nested conditions with one logical operator.
///
/// Register the sources and the factory, parse, and then for each object: point the source at it,
/// copyDataFromSources, evaluate. Predicates on flags and numbers are tested first, those on texts and dates
/// behind them, nested conditions last. Nesting and the number of members are bounded, so neither parsing nor
/// evaluation can be made to run out of stack or memory. For one thread at a time.
class Predicate_Condition : public XMLSerializable_XMLSerializable {
public:
    enum LogicalOperator : int { And = 1, Or = 2 };
    using Predicates = std::deque<std::unique_ptr<Predicate_Predicate>>;
    using Conditions = std::vector<std::unique_ptr<Predicate_Condition>>;

    static constexpr int MaximumDepth = 1000;
    /// Predicates and nested conditions of the whole tree.
    static constexpr std::size_t MaximumMembers = 100'000;

    /// Fails without sources and factory. After a failure the condition is empty.
    bool parse(xercesc::DOMElement* element) override;
    bool serialize(xercesc::DOMDocument* document, xercesc::DOMElement* parent,
                   xercesc::DOMElement* element) override;
    /// Both borrow what they are given, and hand it down.
    void registerDataSourceMap(const Predicate_DataSourceMap* sources);
    void registerPredicateFactory(const Predicate_PredicateFactory* factory);

    LogicalOperator getLogicalOperator() const { return logicalOperator_; }
    void setLogicalOperator(LogicalOperator op) { logicalOperator_ = op; }
    Predicates* getPredicateList() { return &predicates_; }
    Conditions* getConditionList() { return &conditions_; }
    const Predicate_DataSourceMap* getDataSourceMap() const { return dataSourceMap_; }

    /// Whether a predicate of the tree tests this value against this operand.
    bool isValueNameReferenced(const char* valueName, const char* operandText) const;
    /// Fetches the values of all predicates. False if one cannot be fetched and there is only one source that
    /// could have it. Throws Predicate_Exception.
    bool copyDataFromSources();
    /// Throws Predicate_Exception, also if the whole condition is empty. An empty nested one changes nothing.
    bool evaluate();
    /// Appends the tree as a person reads it in the log.
    bool toString(std::string* text) const;
    /// Makes `target` a copy, over its own sources. After a failure it is empty.
    bool copyInto(Predicate_Condition* target) const;
    /// Drops all members, with the memory that they take.
    void clear() noexcept;

private:
    bool parse(const xercesc::DOMElement& element, int depth, std::size_t& room);
    bool parsePredicate(xercesc::DOMElement& element);
    bool evaluateMembers();
    bool copyMembersInto(Predicate_Condition& target) const;

    LogicalOperator logicalOperator_ = And;
    Predicates predicates_;
    Conditions conditions_;
    const Predicate_DataSourceMap* dataSourceMap_ = nullptr;
    const Predicate_PredicateFactory* predicateFactory_ = nullptr;
};
