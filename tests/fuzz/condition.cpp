/// A condition from outside: read, evaluated on one file, written and read again.

#include "date/System_Date.h"
#include "files/System_FileSystemObjectLinux.h"
#include "predicates/SystemPredicate_DataSourceFSO.h"
#include "target.h"
#include "xml/Xerces_Document.h"

void fuzz(std::string_view input) {
    const Xerces_DocumentPtr document = Xerces_Parse(input, "fuzz");
    if (!document || Xerces_Root(*document) == nullptr)
        return;
    System_FileSystemObjectLinux file;
    file.setPath("/a/report.log");
    file.setName("report.log");
    file.setSize(2048);
    const auto date = System_FactoryAllocateDate();
    const std::string dateText = "2026-03-14 09:26:53";
    require(date->parse(&dateText) && file.setModifyDT(date.get()) && file.setAccessDT(date.get()));
    SystemPredicate_DataSourceFSO source;
    source.registerFSO(&file);
    const Predicate_DataSourceMap sources = {{"", &source}};
    const Predicate_PredicateFactory factory;
    Predicate_Condition condition;
    condition.registerDataSourceMap(&sources);
    condition.registerPredicateFactory(&factory);
    if (!condition.parse(Xerces_Root(*document)))
        return;
    try {
        for (int time = 0; time < 2; ++time)
            if (condition.copyDataFromSources())
                condition.evaluate();
    } catch (const Predicate_Exception&) { // NOLINT(bugprone-empty-catch): an answer like another
    }
    std::string text;
    condition.toString(&text);
    condition.isValueNameReferenced("isdir", "true");
    const Xerces_DocumentPtr written = Xerces_CreateDocument("r");
    Predicate_Condition again;
    again.registerDataSourceMap(&sources);
    again.registerPredicateFactory(&factory);
    require(condition.serialize(written.get(), Xerces_Root(*written), nullptr) &&
            again.parse(Xerces_ChildElements(*Xerces_Root(*written)).front()));
}
