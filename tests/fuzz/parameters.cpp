/// The parameters of methods: what a script is to run with, and the files to be counted.

#include "files/System_FileSystemObjectLinux.h"
#include "methods/AgentRMI_ActionParameters.h"
#include "xml/Xerces_Document.h"
#include "xml/Xerces_Layer.h"

#include <cstdlib>
#include <string>

namespace {

void require(bool holds) {
    if (!holds)
        std::abort();
}

void checkAction(const xercesc::DOMElement& method) {
    for (const auto which : {AgentRMI_ActionMethod::SubmitAction, AgentRMI_ActionMethod::SaveAction}) {
        const std::optional<AgentRMI_ActionParameters> read = AgentRMI_ReadActionParameters(method, which);
        if (!read)
            continue;
        require(which == AgentRMI_ActionMethod::SubmitAction ? !read->templateName
                                                             : read->groupMembers.empty());
        require(!AgentRMI_FitsFileName("actionid", read->actionId) ||
                read->actionId->find('/') == std::string::npos);
    }
}

std::string write(System_FileSystemObject& object) {
    const Xerces_DocumentPtr document = Xerces_CreateDocument("Root");
    require(object.serialize(document.get(), Xerces_Root(*document), nullptr));
    return Xerces_Serialize(*document);
}

/// What is read is written in a form that reads as the same.
void checkFile(xercesc::DOMElement* element) {
    System_FileSystemObjectLinux first;
    System_FileSystemObjectLinux second;
    for (System_FileSystemObject* each : {&first, &second})
        each->setSerializationOptions(System_SerializeSelf);
    if (!first.parse(element))
        return;
    const std::string written = write(first);
    const Xerces_DocumentPtr document = Xerces_Parse(written, "written");
    require(document && second.parse(Xerces_ChildElements(*Xerces_Root(*document)).front()));
    require(write(second) == written);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    return Xerces_LayerInit() ? 0 : -1;
}

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    const Xerces_DocumentPtr document = Xerces_Parse({reinterpret_cast<const char*>(data), size}, "fuzz");
    if (!document)
        return 0;
    checkAction(*Xerces_Root(*document));
    for (xercesc::DOMElement* element : Xerces_ChildElements(*Xerces_Root(*document), "FSO"))
        checkFile(element);
    return 0;
}
