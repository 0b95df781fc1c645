#include "methods/AgentRMI_MethodSetCallServerWithSSL.h"

#include "log/Debug_Printf.h"
#include "methods/AgentRMI_MethodSupport.h"
#include "rmi/AgentHTTP_SendRequest.h"
#include "xml/Xerces_Document.h"

#include <optional>
#include <string>

namespace {

constexpr const char* malformed = "Malformed SetCallServerWithSSL RMI";

[[noreturn]] void refuseSetting(const char* why) {
    DEBUG_LOG("AgentRMI_MethodSetCallServerWithSSL::invoke(): %s in RMI\n", why);
    throw RMI_MethodException(RMI_MethodException::GeneralFailure, malformed);
}

bool readValue(const xercesc::DOMElement& parameter) {
    if (!Xerces_HasChild(parameter))
        refuseSetting("null subnode");
    const std::optional<std::string> text = Xerces_FirstText(parameter);
    if (!text)
        refuseSetting("null value");
    if (*text != "true" && *text != "false")
        refuseSetting("illegal boolean value");
    return *text == "true";
}

} // namespace

void AgentRMI_MethodSetCallServerWithSSL::invoke(xercesc::DOMElement* method, xercesc::DOMDocument*,
                                                 xercesc::DOMElement*) {
    AgentRMI_Perform([&] {
        std::optional<bool> value;
        for (const xercesc::DOMElement* parameter : Xerces_ChildElements(*method))
            value = readValue(*parameter);
        if (!value) {
            DEBUG_LOG("AgentRMI_MethodSetCallServerWithSSL::invoke(): RMI not parsed successfully\n");
            throw RMI_MethodException(RMI_MethodException::GeneralFailure, malformed);
        }
        gCallServerWithSSL = *value;
    });
}
