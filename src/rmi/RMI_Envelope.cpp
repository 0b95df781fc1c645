#include "rmi/RMI_Envelope.h"

#include <array>
#include <cstddef>

namespace {

constexpr const char* methodElement = "Method";
constexpr std::string_view formField = "CommandBody=";

/// What both sides must agree on, with the flaw of whoever does not.
struct Agreed {
    const char* attribute;
    const char* value;
    RMI_Flaw flaw;
};
constexpr Agreed protocol[] = {
    {"version", "1.2", RMI_Flaw::Version},
    {"schema", "2.1", RMI_Flaw::Schema},
};

/// By RMI_Stage.
constexpr std::array<const char*, 3> stageTexts = {"rmi", "request", "method"};

void setProtocol(xercesc::DOMElement& element) {
    for (const Agreed& agreed : protocol)
        Xerces_SetAttribute(element, agreed.attribute, agreed.value);
}

Xerces_DocumentPtr createEnvelope() {
    Xerces_DocumentPtr document = Xerces_CreateDocument(RMI_RootName);
    setProtocol(*Xerces_Root(*document));
    return document;
}

xercesc::DOMElement& appendContent(const xercesc::DOMDocument& document, const char* name) {
    return Xerces_AppendElement(*Xerces_Root(document), name);
}

RMI_Envelope flawed(RMI_Flaw flaw, std::string complaint) {
    return {nullptr, nullptr, flaw, std::move(complaint)};
}

} // namespace

RMI_Envelope RMI_OpenEnvelope(std::string_view text, const char* content, const char* bufferId) {
    std::string reason;
    Xerces_DocumentPtr document = Xerces_Parse(text, bufferId, &reason);
    if (!document)
        return flawed(RMI_Flaw::NoXml, "not XML: " + reason);
    const xercesc::DOMElement* root = Xerces_Root(*document);
    if (root == nullptr || Xerces_TagName(*root) != RMI_RootName)
        return flawed(RMI_Flaw::Root, std::string("the root element is not ") + RMI_RootName);
    for (const Agreed& agreed : protocol) {
        const std::string value = Xerces_GetAttribute(*root, agreed.attribute);
        if (value != agreed.value)
            return flawed(agreed.flaw, std::string("attribute ") + agreed.attribute + " is \"" + value +
                                           "\", not \"" + agreed.value + "\"");
    }
    xercesc::DOMElement* found = Xerces_FirstDescendant(*root, content);
    if (found == nullptr)
        return flawed(RMI_Flaw::Content, std::string("it has no element ") + content);
    return {std::move(document), found, RMI_Flaw::None, {}};
}

std::string_view RMI_XmlInBody(std::string_view body) {
    const std::size_t field = body.find(formField);
    if (field != std::string_view::npos)
        body.remove_prefix(field + formField.size());
    return body.substr(0, body.find('\0'));
}

xercesc::DOMElement* RMI_FindMethod(const xercesc::DOMElement& request) {
    return Xerces_FirstDescendant(request, methodElement);
}

std::string RMI_MethodName(const xercesc::DOMElement& method) {
    return Xerces_GetAttribute(method, RMI_NameAttribute);
}

RMI_Request::RMI_Request(std::string_view methodName)
    : document_(createEnvelope()), request_(appendContent(*document_, RMI_RequestName)),
      method_(Xerces_AppendElement(request_, methodElement)) {
    Xerces_SetAttribute(method_, RMI_NameAttribute, methodName);
}

RMI_Reply::RMI_Reply()
    : document_(createEnvelope()), response_(appendContent(*document_, RMI_ResponseName)) {}

void RMI_Reply::setStage(RMI_Stage stage) {
    Xerces_SetAttribute(response_, "type", stageTexts[static_cast<std::size_t>(stage)]);
}

void RMI_Reply::setMethodName(std::string_view name) {
    Xerces_SetAttribute(response_, RMI_NameAttribute, name);
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
    xercesc::DOMElement& spoken = Xerces_AppendElement(response_, "RMI");
    Xerces_SetAttribute(spoken, RMI_NameAttribute, RMI_RootName);
    setProtocol(spoken);
}
