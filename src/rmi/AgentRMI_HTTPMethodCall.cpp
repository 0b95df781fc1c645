#include "rmi/AgentRMI_HTTPMethodCall.h"

#include "config/AgentConfig_Globals.h"
#include "config/AgentConfig_Guid.h"
#include "config/Config_File.h"
#include "rmi/AgentHTTP_SendRequest.h"
#include "rmi/RMI_MethodCallException.h"
#include "threads/MutexLock.h"

void AgentRMI_HTTPMethodCall::setGuidMember() {
    const MutexLock lock(&gMutexGuidConfig);
    setGuid(gGuidConfig->getConfig()->getGuid());
}

void AgentRMI_HTTPMethodCall::setGuidMember(std::string hostTarget) {
    const MutexLock lock(&gMutexGuidConfig);
    setGuid(gGuidConfig->getConfig()->getGuid(hostTarget));
}

void AgentRMI_HTTPMethodCall::appendParameters(xercesc::DOMDocument*, xercesc::DOMElement*) {}

void AgentRMI_HTTPMethodCall::makeRequest(std::string* request, std::string* reply) {
    makeRequest(request->data(), static_cast<int>(request->size()), reply);
}

void AgentRMI_HTTPMethodCall::makeRequest(const char* request, int length, std::string* reply) {
    if (!AgentHTTP_SendRequest(request, static_cast<std::size_t>(length), *reply, verifyPeer(),
                               sslPreferred_))
        throw RMI_MethodCallException(RMI_MethodCallException::ExchangeFailed);
}

void AgentRMI_HTTPMethodCall::parseResponse(xercesc::DOMElement*) {}
