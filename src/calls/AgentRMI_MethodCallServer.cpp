#include "calls/AgentRMI_MethodCallServer.h"

#include "log/Debug_Printf.h"
#include "rmi/AgentHTTP_SendRequest.h"
#include "rmi/RMI_MethodCallException.h"
#include "xml/Xerces_Document.h"

namespace {

const xercesc::DOMElement& serverElement(const xercesc::DOMElement& response) {
    const xercesc::DOMElement* server = Xerces_FirstDescendant(response, "Server");
    if (server == nullptr)
        throw RMI_MethodCallException(RMI_MethodCallException::CallFailed);
    return *server;
}

} // namespace

AgentRMI_MethodCallPing::AgentRMI_MethodCallPing() : AgentRMI_HTTPMethodCall("Ping") {}

void AgentRMI_MethodCallPing::parseResponse(xercesc::DOMElement* response) {
    serverElement(*response);
}

AgentRMI_MethodCallGetSSLState::AgentRMI_MethodCallGetSSLState() : AgentRMI_HTTPMethodCall("GetSSLState") {
    setSSLPreferredState(true);
}

void AgentRMI_MethodCallGetSSLState::parseResponse(xercesc::DOMElement* response) {
    const std::string state = Xerces_GetAttribute(serverElement(*response), "sslState");
    DEBUG_LOG("Server: SSL state: %s\n", state.c_str());
    // Encryption is the safe reading of anything but a clear no.
    gCallServerWithSSL = state != "false";
}
