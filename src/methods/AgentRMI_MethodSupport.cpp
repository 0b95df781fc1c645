#include "methods/AgentRMI_MethodSupport.h"

#include "base/Agent_Version.h"
#include "xml/Xerces_Document.h"

void AgentRMI_RequireNoParameters(const xercesc::DOMElement& method) {
    if (Xerces_FirstDescendant(method, "*") != nullptr)
        throw RMI_MethodException(RMI_MethodException::TooManyParameters);
}

void AgentRMI_AppendAgent(xercesc::DOMElement& response) {
    xercesc::DOMElement& agent = Xerces_AppendElement(response, "Agent");
    Xerces_SetAttribute(agent, "product", "VRK");
    Xerces_SetAttribute(agent, "version", Agent_Version);
    Xerces_SetAttribute(agent, "build", Agent_BuildNumber);
    Xerces_SetAttribute(agent, "type", "Linux");
}
