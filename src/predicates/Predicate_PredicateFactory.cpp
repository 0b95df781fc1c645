#include "predicates/Predicate_PredicateFactory.h"

#include "predicates/Predicate_TypedPredicates.h"
#include "predicates/SystemPredicate_PredicateDate.h"

#include <strings.h>

namespace {

using Predicate = std::unique_ptr<Predicate_Predicate>;

struct TypeRow {
    const char* name;
    Predicate (*make)(bool areStringsCaseSensitive);
};

constexpr TypeRow types[] = {
    {"date", [](bool) -> Predicate { return std::make_unique<SystemPredicate_PredicateDate>(); }},
    {"boolean", [](bool) -> Predicate { return std::make_unique<Predicate_PredicateBoolean>(); }},
    {"integer", [](bool) -> Predicate { return std::make_unique<Predicate_PredicateInteger>(true); }},
    {"uinteger", [](bool) -> Predicate { return std::make_unique<Predicate_PredicateInteger>(false); }},
    {"float", [](bool) -> Predicate { return std::make_unique<Predicate_PredicateFloat>(); }},
    {"string",
     [](bool isSensitive) -> Predicate { return std::make_unique<Predicate_PredicateString>(isSensitive); }},
    {"hexinteger", [](bool) -> Predicate { return std::make_unique<Predicate_PredicateHexInteger>(); }},
    {"hexstring", [](bool) -> Predicate { return std::make_unique<Predicate_PredicateHexString>(); }},
};

} // namespace

std::unique_ptr<Predicate_Predicate> Predicate_PredicateFactory::createPredicate(const char* typeName) const {
    if (typeName != nullptr)
        for (const TypeRow& type : types)
            if (strcasecmp(type.name, typeName) == 0)
                return type.make(caseSensitiveStrings_);
    return nullptr;
}
