#pragma once

#include "files/System_FileSystemObject.h"
#include "predicates/Predicate_Condition.h"
#include "predicates/Predicate_DataSource.h"

#include <utility>
#include <vector>

/// Lets a source see each predicate of a condition before it is used.
class SystemPredicate_RequirementsSetter {
public:
    virtual ~SystemPredicate_RequirementsSetter() = default;

    /// False ends the walk over the condition.
    virtual bool setRequirementFromPredicate(Predicate_Predicate* predicate) = 0;
    virtual bool setRequirementsFromCondition(Predicate_Condition* condition);
};

/// The attributes of one file system object as values. The case of their names does not count; sizes are
/// bytes, dates UTC.
class SystemPredicate_DataSourceFSO : public Predicate_DataSource, public SystemPredicate_RequirementsSetter {
public:
    const char* getTypeName(const char* valueName) const override;
    bool setRecipientData(const char* valueName, Predicate_DataSourceRecipient* recipient) override;
    bool setRequirementFromPredicate(Predicate_Predicate* predicate) override;

    /// `fso` is borrowed; null for none.
    void registerFSO(const System_FileSystemObject* fso) { fso_ = fso; }

private:
    const System_FSOAttribute* find(const char* valueName);

    const System_FileSystemObject* fso_ = nullptr;
    /// Rows of the names that were asked for: the same few texts for each object.
    std::vector<std::pair<const char*, const System_FSOAttribute*>> found_;
    std::string scratch_;
};
