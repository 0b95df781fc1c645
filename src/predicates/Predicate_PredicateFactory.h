#pragma once

#include "predicates/Predicate_Predicate.h"

#include <memory>

/// Makes predicates for values by the names of their types.
class Predicate_PredicateFactory {
public:
    bool getCaseSensistiveStrings() const { return caseSensitiveStrings_; }
    void setCaseSensistiveStrings(bool areSensitive) { caseSensitiveStrings_ = areSensitive; }

    /// The case of the name does not count. Null for null and for a type that there is not.
    std::unique_ptr<Predicate_Predicate> createPredicate(const char* typeName) const;

private:
    bool caseSensitiveStrings_ = false;
};
