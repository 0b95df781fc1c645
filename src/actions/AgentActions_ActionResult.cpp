#include "actions/AgentActions_ActionResult.h"

#include "log/Debug_Printf.h"
#include "threads/MutexLock.h"
#include "xml/Xerces_Document.h"

#include <string_view>

namespace {

xercesc::DOMElement& appendMethodParameter(xercesc::DOMElement& parent, const char* name, const char* type) {
    xercesc::DOMElement& parameter = Xerces_AppendElement(parent, "MethodParameter");
    Xerces_SetAttribute(parameter, "name", name);
    Xerces_SetAttribute(parameter, "type", type);
    return parameter;
}

void creatAndAppendMethodParameter(xercesc::DOMElement& parent, const char* name, std::string_view value) {
    Xerces_AppendText(appendMethodParameter(parent, name, "string"), value);
}

} // namespace

AgentActions_ActionResult::AgentActions_ActionResult(unsigned long long actionId, std::string actionStatus)
    : actionId_(actionId), actionStatus_(std::move(actionStatus)) {}

bool AgentActions_ActionResult::addActionItem(std::string path, std::string status, std::string reason) {
    const MutexLock lock(mutex_.get());
    try {
        items_.push_back({std::move(path), std::move(status), std::move(reason)});
        return true;
    } catch (...) {
        DEBUG_LOG("AgentActions_ActionResult: addActionItem: Add Action Item failed.\n");
        return false;
    }
}

bool AgentActions_ActionResult::serialize(xercesc::DOMDocument*, xercesc::DOMElement* method) const {
    creatAndAppendMethodParameter(*method, "actionid", std::to_string(actionId_));
    creatAndAppendMethodParameter(*method, "actionstatus", actionStatus_);
    creatAndAppendMethodParameter(*method, "actionreason", actionReason_);
    xercesc::DOMElement& group = appendMethodParameter(*method, "group", "list");
    const MutexLock lock(mutex_.get());
    for (const Action_Item& item : items_) {
        xercesc::DOMElement& member = appendMethodParameter(group, "groupmember", "list");
        creatAndAppendMethodParameter(member, "path", item.path);
        creatAndAppendMethodParameter(member, "status", item.status);
        creatAndAppendMethodParameter(member, "reason", item.reason);
    }
    return true;
}
