#include "audit/Storage_HostSystem.h"
#include "audit/System_HostText.h"
#include "host/Host_RecordingHost.h"
#include "storage/Storage_CheckVersion.h"
#include "storage/Storage_Levels.h"
#include "xml/Xerces_Document.h"
#include "xml/Xerces_Layer.h"

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>

namespace {

void require(bool holds) {
    if (!holds)
        std::abort();
}

std::string write(XMLSerializable_XMLSerializable& object) {
    const Xerces_DocumentPtr document = Xerces_CreateDocument("Root");
    require(object.serialize(document.get(), Xerces_Root(*document), nullptr));
    return Xerces_Serialize(*document);
}

/// What is read must be written as a form that reads as the same.
template <typename Object>
void checkRoundTrip(Object& first, Object& second, xercesc::DOMElement* element) {
    if (!first.parse(element))
        return;
    const std::string written = write(first);
    const Xerces_DocumentPtr document = Xerces_Parse(written, "written");
    require(document != nullptr);
    require(second.parse(Xerces_FirstDescendant(*Xerces_Root(*document), "*")));
    require(write(second) == written);
}

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

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool initialized = Xerces_LayerInit();
    require(initialized);
    const std::string text(reinterpret_cast<const char*>(data), size);
    checkForms(text);
    checkHostText(text);
    return 0;
}
