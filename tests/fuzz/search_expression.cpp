/// A search as a person writes it: what is understood, the agent understands too; what is not is refused with
/// the place.

#include "files/System_FileSystemObjectLinux.h"
#include "predicates/SystemPredicate_DataSourceFSO.h"
#include "qdvctl/Ctl_Failure.h"
#include "qdvctl/Ctl_SearchExpression.h"
#include "target.h"
#include "xml/Xerces_Document.h"

namespace {

bool isUnderstood(const std::string& text) {
    const Xerces_DocumentPtr document = Xerces_Parse(text, "condition");
    SystemPredicate_DataSourceFSO source;
    const Predicate_DataSourceMap sources = {{"", &source}};
    const Predicate_PredicateFactory factory;
    Predicate_Condition condition;
    condition.registerDataSourceMap(&sources);
    condition.registerPredicateFactory(&factory);
    return document && condition.parse(Xerces_Root(*document));
}

} // namespace

void fuzz(std::string_view input) {
    try {
        require(isUnderstood(Ctl_SearchCondition(input)));
    } catch (const Ctl_Failure& failure) {
        require(failure.status() == Ctl_WrongUsage && !failure.place().empty());
    }
}
