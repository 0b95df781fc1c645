#include "calls/AgentRMI_MethodCallResults.h"

#include "rmi/RMI_MethodCallException.h"

void AgentRMI_MethodCallResults::appendParameters(xercesc::DOMDocument* document,
                                                  xercesc::DOMElement* method) {
    if (runnable_ == nullptr || !runnable_->serializeResult(document, method))
        throw RMI_MethodCallException(RMI_MethodCallException::ParametersFailed);
}
