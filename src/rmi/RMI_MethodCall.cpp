#include "rmi/RMI_MethodCall.h"

#include "log/Debug_Printf.h"
#include "rmi/RMI_MethodCallException.h"
#include "rmi/RMI_Protocol.h"
#include "xml/Xerces_Document.h"

#include <climits>
#include <stdexcept>

namespace {

constexpr const char* bufferId = "RMI_MethodCall::invoke";

/// The Response element of a reply that reports success. Throws if it is any other.
xercesc::DOMElement& successfulResponse(const xercesc::DOMDocument& document) {
    const xercesc::DOMElement* root = Xerces_Root(document);
    if (root == nullptr || Xerces_TagName(*root) != RMI_RootName ||
        Xerces_GetAttribute(*root, "version") != RMI_Version ||
        Xerces_GetAttribute(*root, "schema") != RMI_Schema)
        throw std::runtime_error("the reply is in another protocol");
    xercesc::DOMElement* response = Xerces_FirstDescendant(*root, "Response");
    if (response == nullptr)
        throw std::runtime_error("the reply has no response");
    const std::string outcome = Xerces_GetAttribute(*response, "response");
    if (outcome != "success")
        throw std::runtime_error("the server answered \"" + outcome + "\"");
    return *response;
}

} // namespace

void RMI_MethodCall::invoke() {
    try {
        const std::string request = createRequest();
        if (request.empty() || request.size() > INT_MAX)
            throw std::length_error("the request cannot be serialised");
        std::string reply;
        makeRequest(request.data(), static_cast<int>(request.size()), &reply);
        judge(reply);
        return;
    } catch (const std::exception& failure) {
        DEBUG_LOG("RMI: call of %s failed: %s\n", methodName_.c_str(), failure.what());
    } catch (...) {
        DEBUG_LOG("RMI: call of %s failed\n", methodName_.c_str());
    }
    throw RMI_MethodCallException(RMI_MethodCallException::CallFailed);
}

std::string RMI_MethodCall::createRequest() {
    const Xerces_DocumentPtr document = Xerces_CreateDocument(RMI_RootName);
    xercesc::DOMElement& root = *Xerces_Root(*document);
    Xerces_SetAttribute(root, "version", RMI_Version);
    Xerces_SetAttribute(root, "schema", RMI_Schema);
    if (hostTarget_.empty())
        setGuidMember();
    else
        setGuidMember(hostTarget_);
    xercesc::DOMElement& request = Xerces_AppendElement(root, "Request");
    Xerces_SetAttribute(request, "uuid", guid_);
    xercesc::DOMElement& method = Xerces_AppendElement(request, "Method");
    Xerces_SetAttribute(method, "name", methodName_);
    appendParameters(document.get(), &method);
    return Xerces_Serialize(*document);
}

void RMI_MethodCall::judge(const std::string& reply) {
    std::string reason;
    const Xerces_DocumentPtr document = Xerces_Parse(reply, bufferId, &reason);
    if (!document)
        throw std::runtime_error("the reply is no XML: " + reason);
    parseResponse(&successfulResponse(*document));
}
