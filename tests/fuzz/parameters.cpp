/// The parameters of methods: what a script is to run with, and the files to be counted.

#include "files/System_FileSystemObjectLinux.h"
#include "methods/AgentRMI_ActionParameters.h"
#include "round_trip.h"

namespace {

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

/// What is read is written in a form that reads as the same.
void checkFile(xercesc::DOMElement* element) {
    System_FileSystemObjectLinux first;
    System_FileSystemObjectLinux second;
    for (System_FileSystemObject* each : {&first, &second})
        each->setSerializationOptions(System_SerializeSelf);
    checkRoundTrip(first, second, element);
}

} // namespace

void fuzz(std::string_view input) {
    const Xerces_DocumentPtr document = Xerces_Parse(input, "fuzz");
    if (!document)
        return;
    checkAction(*Xerces_Root(*document));
    for (xercesc::DOMElement* element : Xerces_ChildElements(*Xerces_Root(*document), "FSO"))
        checkFile(element);
}
