#pragma once

#include "threads/Thread_Mutex.h"
#include "xml/Xerces_Types.h"

#include <string>
#include <vector>

/// What became of one object of an action.
struct Action_Item {
    std::string path;
    std::string status;
    std::string reason;
};

/// What became of an action and of each object it worked on, in the form in which the server is told. Items
/// may be added while another thread reads them; status and reason belong to one thread.
class AgentActions_ActionResult {
public:
    AgentActions_ActionResult(unsigned long long actionId, std::string actionStatus);

    void setActionStatus(std::string status) { actionStatus_ = std::move(status); }
    void setActionReason(std::string reason) { actionReason_ = std::move(reason); }
    /// False if memory is short.
    bool addActionItem(std::string path, std::string status, std::string reason);

    /// Adds the parameters of the report below `method`. Throws what the XML helper throws.
    bool serialize(xercesc::DOMDocument* document, xercesc::DOMElement* method) const;

private:
    std::vector<Action_Item> items_;
    unsigned long long actionId_;
    std::string actionStatus_;
    std::string actionReason_;
    mutable Thread_Mutex mutex_;
};
