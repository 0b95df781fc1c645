/// Requests to search and for a page of hits: what is taken can name files and is written with its volumes,
/// what is refused leaves no volumes.

#include "search/FileSearch_ResultPath.h"
#include "search/FileSearch_Search.h"
#include "target.h"
#include "xml/Xerces_Document.h"

void fuzz(std::string_view input) {
    const Xerces_DocumentPtr document = Xerces_Parse(input, "fuzz");
    if (!document)
        return;
    FileSearch_Search search;
    const bool isTaken = search.parseSearchCriteria(Xerces_Root(*document));
    require(!isTaken || FileSearch_IsToken(search.getToken()));
    const Xerces_DocumentPtr written = Xerces_CreateDocument("Summary");
    xercesc::DOMElement& summary = *Xerces_Root(*written);
    require(search.serializeSummary(written.get(), &summary));
    require(isTaken || Xerces_Descendants(summary, "Volume").empty());
    FileSearch_Search page;
    require(!page.parseResultsCriteria(Xerces_Root(*document)) || FileSearch_IsToken(page.getToken()));
    search.takePage(page);
}
