#include "qdvctl/Ctl_Envelope.h"

#include "qdvctl/Ctl_Failure.h"
#include "rmi/RMI_Envelope.h"
#include "xml/XMLSerializable_Attributes.h"

#include <algorithm>
#include <iterator>

namespace {

constexpr XMLSerializable_Attribute<Ctl_Request> requestAttributes[] = {
    XMLSerializable_Text<&Ctl_Request::uuid>("uuid"),
    XMLSerializable_Text<&Ctl_Request::hostTarget>("hostTarget"),
    XMLSerializable_Text<&Ctl_Request::userName>("userName"),
    XMLSerializable_Text<&Ctl_Request::userPassword>("userPassword"),
};

[[noreturn]] void refuse(const std::string& what, const std::string& why) {
    throw Ctl_Failure(Ctl_Unanswered, what + ": " + why);
}

std::string checkWritten(std::string text) {
    if (text.empty())
        refuse("envelope", "cannot be written as XML");
    return text;
}

RMI_Envelope openEnvelope(std::string_view text, const char* content, const std::string& what) {
    RMI_Envelope envelope = RMI_OpenEnvelope(text, content, what.c_str());
    if (envelope.flaw != RMI_Flaw::None)
        refuse(what, envelope.complaint);
    return envelope;
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
    if (document) {
        Ctl_Node method = Ctl_ReadElement(*Xerces_Root(*document));
        if (method.hasElements() && method.ownText().empty())
            return std::move(method.children);
        reason = method.hasElements() ? "there is text outside of them" : "there is no element";
    }
    throw Ctl_Failure(Ctl_WrongUsage, source + ": not a sequence of XML elements: " + reason);
}

Secret_Text Ctl_BuildRequest(const Ctl_Request& request) {
    RMI_Request document(request.method);
    XMLSerializable_WriteAttributes(requestAttributes, request, document.request());
    for (const auto& [name, value] : request.methodAttributes)
        Xerces_SetAttribute(document.method(), name.c_str(), value);
    for (const Ctl_Node& parameter : request.parameters)
        Ctl_WriteNode(document.method(), parameter);
    if (request.systemPassword) {
        xercesc::DOMElement& password = Xerces_AppendElement(document.method(), "MethodParameter");
        Xerces_SetAttribute(password, "name", "syspwd");
        Xerces_AppendText(password, request.systemPassword->view());
    }
    return Secret_Text::take(checkWritten(document.serialize()));
}

Ctl_Node Ctl_ParseReply(std::string_view body) {
    return Ctl_ReadElement(*openEnvelope(body, RMI_ResponseName, "the reply").content);
}

Ctl_Request Ctl_ParseCall(std::string_view body) {
    const std::string what = "the call";
    const RMI_Envelope envelope = openEnvelope(RMI_XmlInBody(body), RMI_RequestName, what);
    const xercesc::DOMElement* method = RMI_FindMethod(*envelope.content);
    if (method == nullptr)
        refuse(what, "it has no element Method");
    Ctl_Request call;
    XMLSerializable_ReadAttributes(requestAttributes, call, *envelope.content);
    call.method = RMI_MethodName(*method);
    if (call.method.empty())
        refuse(what, "its method has no name");
    Ctl_Node element = Ctl_ReadElement(*method);
    std::copy_if(element.attributes.begin(), element.attributes.end(),
                 std::back_inserter(call.methodAttributes),
                 [](const auto& attribute) { return attribute.first != RMI_NameAttribute; });
    call.parameters = std::move(element.children);
    return call;
}

std::string Ctl_BuildReply(const std::string& method, const std::optional<Ctl_Node>& result) {
    RMI_Reply reply;
    reply.setStage(RMI_Stage::Method);
    reply.setMethodName(method);
    reply.setOutcome(RMI_Success);
    if (result)
        Ctl_WriteNode(reply.response(), *result);
    return checkWritten(reply.serialize());
}
