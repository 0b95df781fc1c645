/// A search as a person writes it: what is understood, the agent understands too; what is not is refused with
/// the place.

#include "files/System_FileSystemObjectLinux.h"
#include "predicates/SystemPredicate_DataSourceFSO.h"
#include "qdvctl/Ctl_Failure.h"
#include "qdvctl/Ctl_SearchExpression.h"
#include "xml/Xerces_Document.h"
#include "xml/Xerces_Layer.h"

#include <cstdlib>
#include <string>

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

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    return Xerces_LayerInit() ? 0 : -1;
}

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    try {
        if (!isUnderstood(Ctl_SearchCondition({reinterpret_cast<const char*>(data), size})))
            std::abort();
    } catch (const Ctl_Failure& failure) {
        if (failure.status() != Ctl_WrongUsage || failure.place().empty())
            std::abort();
    }
    return 0;
}
