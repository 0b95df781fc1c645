#pragma once

#include "calls/AgentRMI_MethodCallResults.h"
#include "methods/AgentRMI_MethodSupport.h"
#include "rmi/Thread_RunnableAuditParams.h"

class RMI_Method;

/// The work behind one method, step by step. Inline it lives and ends inside the method's invoke, and its
/// result goes into the reply; queued it is prepared there, and run does the rest on a pool thread.
class AgentRMI_MethodRunnable : public Thread_RunnableAuditParams, public AgentRMI_ResultSource {
public:
    /// Nothing, for work that is only ever done inline.
    void run() override {}
    virtual bool init() { return true; }
    /// Takes the parameters, which are below `method`. False if they are not as they should be.
    virtual bool parseElements(const xercesc::DOMElement& /*method*/) { return true; }
    /// The work itself. False if it failed or was told to terminate; throws RMI_MethodException if there is
    /// more to say.
    virtual bool invoke() = 0;
    bool serializeResult(xercesc::DOMDocument* /*document*/, xercesc::DOMElement* /*parent*/) override {
        return true;
    }

protected:
    explicit AgentRMI_MethodRunnable(const char* methodName) { setName(methodName); }

    /// One line about this runnable, named for its method.
    void log(const char* what) const;
    /// Whether the work is to stop; says so in the log.
    bool mustStop();
    /// Says in the log how the work ended, and gives that back.
    bool end(bool success) const;
};

/// What comes before the work: takes over what the request of `rmi` said, and the parameters below `method`.
/// Throws RMI_MethodException with a general failure if that cannot be done.
void AgentRMI_Prepare(AgentRMI_MethodRunnable& work, RMI_Method& rmi, const xercesc::DOMElement& method);

/// Does the work on this thread, from the first step to its result below `response`. Throws
/// RMI_MethodException with a general failure at the first step that fails.
void AgentRMI_RunInline(AgentRMI_MethodRunnable& work, RMI_Method& rmi, const xercesc::DOMElement& method,
                        xercesc::DOMDocument* document, xercesc::DOMElement* response);

/// The whole invoke of a method whose work is a `Runnable`, done inline.
template <typename Runnable>
void AgentRMI_RunInline(RMI_Method& rmi, const xercesc::DOMElement* method, xercesc::DOMDocument* document,
                        xercesc::DOMElement* response) {
    AgentRMI_Perform([&] {
        Runnable work;
        AgentRMI_RunInline(work, rmi, *method, document, response);
    });
}
