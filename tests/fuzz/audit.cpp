#include "audit/Storage_HostSystem.h"
#include "audit/System_HostText.h"
#include "host/Host_RecordingHost.h"
#include "round_trip.h"
#include "storage/Storage_CheckVersion.h"
#include "storage/Storage_Levels.h"

#include <memory>
#include <stdexcept>

namespace {

void checkForms(const std::string& text) {
    const Xerces_DocumentPtr document = Xerces_Parse(text, "input");
    if (!document)
        return;
    xercesc::DOMElement* root = Xerces_Root(*document);
    checkRoundTrip(*Storage_FactoryAllocateHostSystem(), *Storage_FactoryAllocateHostSystem(), root);
    checkRoundTrip(*Storage_FactoryAllocateShare(), *Storage_FactoryAllocateShare(), root);
    for (const Storage_Level& level : Storage_Levels)
        checkRoundTrip(*level.allocate(), *level.allocate(), root);
    Storage_FactoryAllocateShare()->parseElements(root);
}

void checkHostText(const std::string& text) {
    require(System_FirstLine(text).find_first_of("\r\n") == std::string::npos);
    require(System_FirstFile(text).find_first_of("\r\n\t ") == std::string::npos);
    require(System_ComposeOSName(text, text).find_first_of("\r\n") == std::string::npos);
    const std::optional<std::string> domain = System_DomainOfResolver(text);
    require(!domain || (!domain->empty() && domain->find('\n') == std::string::npos));
    Storage_ReleaseHasVersion(text, "2.6");
    Host_WithoutSecrets(text);
    try {
        Host_ParseRecord(text);
    } catch (const std::runtime_error&) { // refused
    }
}

} // namespace

void fuzz(std::string_view input) {
    const std::string text(input);
    checkForms(text);
    checkHostText(text);
}
