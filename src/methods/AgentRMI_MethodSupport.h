#pragma once

#include "rmi/RMI_MethodException.h"
#include "xml/Xerces_Types.h"

/// What the methods share.

/// Runs the work of a method: what it throws that is no RMI_MethodException becomes a general failure.
template <typename Work>
void AgentRMI_Perform(Work work) {
    try {
        work();
    } catch (const RMI_MethodException&) {
        throw;
    } catch (...) {
        throw RMI_MethodException(RMI_MethodException::GeneralFailure);
    }
}

/// Throws a general failure unless a step of the work was done.
inline void AgentRMI_Require(bool done) {
    if (!done)
        throw RMI_MethodException(RMI_MethodException::GeneralFailure);
}

/// Throws TooManyParameters if there is any element below `method`.
void AgentRMI_RequireNoParameters(const xercesc::DOMElement& method);

/// Appends the element with which this agent says what it is.
void AgentRMI_AppendAgent(xercesc::DOMElement& response);
