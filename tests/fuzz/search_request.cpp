/// Requests to search and for a page of hits: what is taken can name files and is written with its volumes,
/// what is refused leaves no volumes.

#include "search/FileSearch_ResultPath.h"
#include "search/FileSearch_Search.h"
#include "xml/Xerces_Document.h"
#include "xml/Xerces_Layer.h"

#include <cstdlib>
#include <string>

namespace {

void require(bool holds) {
    if (!holds)
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    return Xerces_LayerInit() ? 0 : -1;
}

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    const Xerces_DocumentPtr document = Xerces_Parse({reinterpret_cast<const char*>(data), size}, "fuzz");
    if (!document)
        return 0;
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
    return 0;
}
