#include "predicates/SystemPredicate_DataSourceFSO.h"

#include "predicates/Predicate_DataSourceRecipients.h"
#include "predicates/SystemPredicate_PredicateDate.h"

#include <algorithm>
#include <string_view>
#include <strings.h>

namespace {

/// Names of values that conditions can use at the same time without being looked up again.
constexpr std::size_t mostRemembered = 64;

const System_FSOAttribute* rowOf(const char* valueName) {
    for (const System_FSOAttribute& row : System_FileSystemObject::attributes())
        if (row.type != nullptr && strcasecmp(row.name, valueName) == 0)
            return &row;
    return nullptr;
}

struct Giver {
    Predicate_DataSourceRecipient& recipient;
    std::string_view type;

    bool operator()(std::string_view text) const {
        if (type != "string")
            return false;
        static_cast<Predicate_DataSourceRecipientString&>(recipient).setValue(text);
        return true;
    }
    bool operator()(bool flag) const {
        if (type != "boolean")
            return false;
        static_cast<Predicate_DataSourceRecipientBoolean&>(recipient).setValue(flag);
        return true;
    }
    bool operator()(std::uint64_t number) const {
        if (type != "integer" && type != "uinteger")
            return false;
        static_cast<Predicate_DataSourceRecipientInteger&>(recipient).setValue(number);
        return true;
    }
    bool operator()(std::int64_t number) const { return (*this)(static_cast<std::uint64_t>(number)); }
};

} // namespace

bool SystemPredicate_RequirementsSetter::setRequirementsFromCondition(Predicate_Condition* condition) {
    if (condition == nullptr)
        return false;
    for (const auto& predicate : *condition->getPredicateList())
        if (!setRequirementFromPredicate(predicate.get()))
            return false;
    for (const auto& nested : *condition->getConditionList())
        if (!setRequirementsFromCondition(nested.get()))
            return false;
    return true;
}

bool SystemPredicate_DataSourceFSO::setRequirementFromPredicate(Predicate_Predicate* /*predicate*/) {
    return fso_ != nullptr;
}

const char* SystemPredicate_DataSourceFSO::getTypeName(const char* valueName) const {
    const System_FSOAttribute* row = valueName != nullptr ? rowOf(valueName) : nullptr;
    return row != nullptr ? row->type : "";
}

const System_FSOAttribute* SystemPredicate_DataSourceFSO::find(const char* valueName) {
    const auto known =
        std::find_if(found_.begin(), found_.end(), [&](const auto& each) { return each.first == valueName; });
    // Another text may have come to lie at the same place.
    if (known != found_.end() && strcasecmp(known->second->name, valueName) == 0)
        return known->second;
    const System_FSOAttribute* const row = rowOf(valueName);
    if (row == nullptr)
        return nullptr;
    if (known != found_.end())
        known->second = row;
    else if (found_.size() < mostRemembered)
        found_.emplace_back(valueName, row);
    return row;
}

bool SystemPredicate_DataSourceFSO::setRecipientData(const char* valueName,
                                                     Predicate_DataSourceRecipient* recipient) {
    if (valueName == nullptr || recipient == nullptr || fso_ == nullptr)
        return false;
    const System_FSOAttribute* const row = find(valueName);
    if (row == nullptr)
        return false;
    const std::string_view type = recipient->getTypeName();
    if (row->date != nullptr) {
        const System_Date* const date = (fso_->*row->date)();
        if (date == nullptr || type != "date")
            return false;
        static_cast<SystemPredicate_DataSourceRecipientDate*>(recipient)->setValue(date);
        return true;
    }
    return std::visit(Giver{*recipient, type}, row->get(*fso_, scratch_));
}
