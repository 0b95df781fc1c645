#include "rmi/RMI_Reply.h"

#include "rmi/RMI_Protocol.h"

#include <array>
#include <cstddef>

namespace {

/// By RMI_Stage.
constexpr std::array<const char*, 3> stageTexts = {"rmi", "request", "method"};

xercesc::DOMElement& appendResponse(const xercesc::DOMDocument& document) {
    xercesc::DOMElement& root = *Xerces_Root(document);
    Xerces_SetAttribute(root, "version", RMI_Version);
    Xerces_SetAttribute(root, "schema", RMI_Schema);
    return Xerces_AppendElement(root, "Response");
}

} // namespace

RMI_Reply::RMI_Reply()
    : document_(Xerces_CreateDocument(RMI_RootName)), response_(appendResponse(*document_)) {}

void RMI_Reply::setStage(RMI_Stage stage) {
    Xerces_SetAttribute(response_, "type", stageTexts[static_cast<std::size_t>(stage)]);
}

void RMI_Reply::setMethodName(std::string_view name) {
    Xerces_SetAttribute(response_, "name", name);
}

void RMI_Reply::setOutcome(const RMI_Outcome& outcome) {
    Xerces_SetAttribute(response_, "response", outcome.response);
    if (outcome.reason != nullptr)
        setReason(outcome.reason);
}

void RMI_Reply::setReason(std::string_view reason) {
    Xerces_SetAttribute(response_, "reason", reason);
}

bool RMI_Reply::hasReason() const {
    return !Xerces_GetAttribute(response_, "reason").empty();
}

void RMI_Reply::addProtocol() {
    xercesc::DOMElement& protocol = Xerces_AppendElement(response_, "RMI");
    Xerces_SetAttribute(protocol, "name", RMI_RootName);
    Xerces_SetAttribute(protocol, "version", RMI_Version);
    Xerces_SetAttribute(protocol, "schema", RMI_Schema);
}

std::string RMI_Reply::serialize() const {
    return Xerces_Serialize(*document_);
}
