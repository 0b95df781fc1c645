#include "qdvctl/Ctl_Envelope.h"

#include "qdvctl/Ctl_Failure.h"
#include "rmi/RMI_Protocol.h"
#include "xml/Xerces_Document.h"

#include <algorithm>
#include <array>
#include <iterator>

namespace {

constexpr const char* nameAttribute = "name";
constexpr std::string_view formField = RMI_FormPrefix;

struct RequestAttribute {
    const char* name;
    std::string Ctl_Request::*member;
};
constexpr std::array<RequestAttribute, 4> requestAttributes{{
    {"uuid", &Ctl_Request::uuid},
    {"hostTarget", &Ctl_Request::hostTarget},
    {"userName", &Ctl_Request::userName},
    {"userPassword", &Ctl_Request::userPassword},
}};

[[noreturn]] void refuse(const std::string& what, const std::string& why) {
    throw Ctl_Failure(Ctl_Unanswered, what + ": " + why);
}

Xerces_DocumentPtr createEnvelope() {
    Xerces_DocumentPtr document = Xerces_CreateDocument(RMI_RootName);
    xercesc::DOMElement& root = *Xerces_Root(*document);
    Xerces_SetAttribute(root, "version", RMI_Version);
    Xerces_SetAttribute(root, "schema", RMI_Schema);
    return document;
}

std::string serialised(const xercesc::DOMDocument& document) {
    std::string text = Xerces_Serialize(document);
    if (text.empty())
        refuse("envelope", "cannot be written as XML");
    return text;
}

void checkAttribute(const xercesc::DOMElement& root, const char* name, const char* expected,
                    const std::string& what) {
    const std::string value = Xerces_GetAttribute(root, name);
    if (value != expected)
        refuse(what, std::string("attribute ") + name + " is \"" + value + "\", not \"" + expected + "\"");
}

Xerces_DocumentPtr parseEnvelope(std::string_view text, const std::string& what) {
    std::string reason;
    Xerces_DocumentPtr document = Xerces_Parse(text, what.c_str(), &reason);
    if (!document)
        refuse(what, "not XML: " + reason);
    const xercesc::DOMElement* root = Xerces_Root(*document);
    if (root == nullptr || Xerces_TagName(*root) != RMI_RootName)
        refuse(what, std::string("the root element is not ") + RMI_RootName);
    checkAttribute(*root, "version", RMI_Version, what);
    checkAttribute(*root, "schema", RMI_Schema, what);
    return document;
}

const xercesc::DOMElement& firstBelow(const xercesc::DOMElement& parent, const char* name,
                                      const std::string& what) {
    const xercesc::DOMElement* found = Xerces_FirstDescendant(parent, name);
    if (found == nullptr)
        refuse(what, std::string("it has no element ") + name);
    return *found;
}

std::string_view withoutDeclaration(std::string_view text) {
    constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
    constexpr std::string_view start = "<?xml ";
    constexpr std::string_view end = "?>";
    if (text.starts_with(byteOrderMark))
        text.remove_prefix(byteOrderMark.size());
    const std::size_t found = text.starts_with(start) ? text.find(end) : std::string_view::npos;
    return found == std::string_view::npos ? text : text.substr(found + end.size());
}

/// Stricter than XML, which has letters of every script: enough for every parameter that there is.
bool isElementName(std::string_view name) {
    const auto isLetter = [](char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_'; };
    const auto isInner = [&](char c) {
        return isLetter(c) || (c >= '0' && c <= '9') || c == '.' || c == '-';
    };
    return !name.empty() && isLetter(name.front()) && std::all_of(name.begin(), name.end(), isInner);
}

} // namespace

Ctl_Request Ctl_RequestFor(std::string method, std::vector<Ctl_Node> parameters) {
    Ctl_Request request;
    request.method = std::move(method);
    request.parameters = std::move(parameters);
    return request;
}

Ctl_Node Ctl_ParseParameter(const std::string& argument) {
    const std::size_t equals = argument.find('=');
    const std::string name = argument.substr(0, equals);
    if (equals == std::string::npos || !isElementName(name))
        throw Ctl_Failure(Ctl_WrongUsage, "--param " + argument +
                                              ": Name=Text is expected, Name being the name of "
                                              "an XML element");
    return Ctl_TextElement(name, argument.substr(equals + 1));
}

std::vector<Ctl_Node> Ctl_ParseParameters(std::string_view text, const std::string& source) {
    // Any number of roots: they become a document by being wrapped.
    const std::string wrapped = "<Method>" + std::string(withoutDeclaration(text)) + "</Method>";
    std::string reason;
    const Xerces_DocumentPtr document = Xerces_Parse(wrapped, source.c_str(), &reason);
    if (!document)
        throw Ctl_Failure(Ctl_WrongUsage, source + ": not a sequence of XML elements: " + reason);
    return Ctl_ReadElement(*Xerces_Root(*document)).children;
}

std::string Ctl_BuildRequest(const Ctl_Request& request) {
    const Xerces_DocumentPtr document = createEnvelope();
    xercesc::DOMElement& element = Xerces_AppendElement(*Xerces_Root(*document), "Request");
    for (const RequestAttribute& attribute : requestAttributes)
        if (const std::string& value = request.*attribute.member; !value.empty())
            Xerces_SetAttribute(element, attribute.name, value);
    xercesc::DOMElement& method = Xerces_AppendElement(element, "Method");
    Xerces_SetAttribute(method, nameAttribute, request.method);
    for (const auto& [name, value] : request.methodAttributes)
        Xerces_SetAttribute(method, name.c_str(), value);
    for (const Ctl_Node& parameter : request.parameters)
        Ctl_WriteNode(method, parameter);
    return serialised(*document);
}

Ctl_Node Ctl_ParseReply(std::string_view body) {
    const std::string what = "the reply";
    const Xerces_DocumentPtr document = parseEnvelope(body, what);
    return Ctl_ReadElement(firstBelow(*Xerces_Root(*document), "Response", what));
}

Ctl_Request Ctl_ParseCall(std::string_view body) {
    const std::string what = "the call";
    const std::size_t field = body.find(formField);
    if (field != std::string_view::npos)
        body.remove_prefix(field + formField.size());
    const Xerces_DocumentPtr document = parseEnvelope(body, what);
    const xercesc::DOMElement& request = firstBelow(*Xerces_Root(*document), "Request", what);
    const xercesc::DOMElement& method = firstBelow(request, "Method", what);
    Ctl_Request call;
    for (const RequestAttribute& attribute : requestAttributes)
        call.*attribute.member = Xerces_GetAttribute(request, attribute.name);
    call.method = Xerces_GetAttribute(method, nameAttribute);
    if (call.method.empty())
        refuse(what, "its method has no name");
    Ctl_Node element = Ctl_ReadElement(method);
    std::copy_if(element.attributes.begin(), element.attributes.end(),
                 std::back_inserter(call.methodAttributes),
                 [](const auto& attribute) { return attribute.first != nameAttribute; });
    call.parameters = std::move(element.children);
    return call;
}

std::string Ctl_BuildReply(const std::string& method, const std::optional<Ctl_Node>& result) {
    const Xerces_DocumentPtr document = createEnvelope();
    xercesc::DOMElement& response = Xerces_AppendElement(*Xerces_Root(*document), "Response");
    Xerces_SetAttribute(response, "type", "method");
    Xerces_SetAttribute(response, nameAttribute, method);
    Xerces_SetAttribute(response, "response", "success");
    Xerces_SetAttribute(response, "reason", "success");
    if (result)
        Ctl_WriteNode(response, *result);
    return serialised(*document);
}
