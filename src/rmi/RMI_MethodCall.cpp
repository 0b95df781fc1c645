#include "rmi/RMI_MethodCall.h"

#include "log/Debug_Printf.h"
#include "rmi/RMI_Envelope.h"
#include "rmi/RMI_MethodCallException.h"

#include <climits>
#include <stdexcept>

namespace {

constexpr const char* replyId = "RMI_MethodCall::invoke";

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
    if (hostTarget_.empty())
        setGuidMember();
    else
        setGuidMember(hostTarget_);
    RMI_Request request(methodName_);
    Xerces_SetAttribute(request.request(), RMI_UuidAttribute, guid_);
    appendParameters(&request.document(), &request.method());
    return request.serialize();
}

void RMI_MethodCall::judge(const std::string& reply) {
    const RMI_Envelope envelope = RMI_OpenEnvelope(reply, RMI_ResponseName, replyId);
    if (envelope.flaw != RMI_Flaw::None)
        throw std::runtime_error("the reply: " + envelope.complaint);
    const std::string outcome = Xerces_GetAttribute(*envelope.content, "response");
    if (outcome != RMI_Success.response)
        throw std::runtime_error("the server answered \"" + outcome + "\"");
    parseResponse(envelope.content);
}
