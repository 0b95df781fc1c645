#include "methods/AgentRMI_SubmitActionRunnable.h"

#include "actions/AgentActions_ActionResult.h"
#include "actions/AgentActions_Script.h"
#include "calls/AgentRMI_ActionResult.h"
#include "log/Debug_Printf.h"
#include "methods/AgentRMI_ActionParameters.h"
#include "rmi/RMI_MethodException.h"
#include "xml/Xerces_Document.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <iterator>
#include <optional>
#include <string_view>

namespace {

constexpr const char* STATUS_SUCCESS = "success";
constexpr const char* STATUS_FAILURE = "failure";
constexpr const char* STATUS_ERROR = "error";
constexpr const char* STATUS_PENDINGS = "pending";

/// What an action needs beside its script, with what the log says when it is missing.
struct Needed {
    const char* name;
    const char* whenMissing;
};
constexpr std::array needed = {
    Needed{"sysuserid", "no username"},
    Needed{"syspwd", "no password"},
    Needed{"actionname", "no actionname"},
    Needed{"actionid", "no actionid"},
};

const Needed* findNeeded(std::string_view name) {
    const auto* found = std::find_if(needed.begin(), needed.end(),
                                     [name](const Needed& parameter) { return parameter.name == name; });
    return found == needed.end() ? nullptr : found;
}

const char* getStringForCode(ExecResultCode code) {
    switch (code) {
    case EXEC_SUCCESS:
        return STATUS_SUCCESS;
    case EXEC_FAILURE:
        return STATUS_FAILURE;
    case EXEC_PENDING:
        return STATUS_PENDINGS;
    default:
        return STATUS_ERROR;
    }
}

/// The header has failed, so nothing was done to any object.
void reportHeaderFailure(AgentActions_ActionResult& report, const Exec_ExecResult& header,
                         const std::vector<std::string>& members) {
    report.setActionStatus(STATUS_FAILURE);
    report.setActionReason(header.getErrorString());
    for (const std::string& member : members)
        report.addActionItem(member, STATUS_FAILURE, "header scriptlet failed");
}

/// `scriptlets` has the header in front of one scriptlet for each member.
void reportMembers(AgentActions_ActionResult& report,
                   const std::vector<AgentActions_ScriptletExecutor>& scriptlets,
                   const std::vector<std::string>& members) {
    bool allWell = true;
    for (std::size_t i = 0; i < members.size(); ++i) {
        const Exec_ExecResult& result = scriptlets[i + 1].getExecResult();
        report.addActionItem(members[i], getStringForCode(result.getCode()), result.getErrorString());
        allWell = allWell && result.getCode() == EXEC_SUCCESS;
    }
    report.setActionStatus(allWell ? STATUS_SUCCESS : STATUS_FAILURE);
    report.setActionReason(allWell ? "" : "one or more action items failed");
}

/// A server that cannot be told changes nothing about what was done.
void deliver(const AgentActions_ActionResult& report) {
    DEBUG_LOG("execAndReport: ready to report to server\n");
    try {
        AgentRMI_ActionResult(&report).invoke();
    } catch (...) {
        DEBUG_LOG("Error reporting results to server\n");
    }
}

} // namespace

AgentRMI_SubmitActionRunnableBase::AgentRMI_SubmitActionRunnableBase() {
    setName("SubmitAction");
}

bool AgentRMI_SubmitActionRunnableBase::parseElements(const xercesc::DOMElement& method) {
    const auto take = [this](const std::string& name, const xercesc::DOMElement& parameter) {
        if (const Needed* found = findNeeded(name))
            return AgentRMI_StoreParameter(parameter, found->name, *this);
        if (name == "group")
            return parseGroup(parameter);
        if (name != "actionscript")
            return true;
        std::optional<std::string> script = Xerces_FirstText(parameter);
        if (script)
            actionScript_ = std::move(*script);
        return script.has_value();
    };
    return AgentRMI_ForEachParameter(method, take) && checkPostParseConditions();
}

bool AgentRMI_SubmitActionRunnableBase::parseGroup(const xercesc::DOMElement& group) {
    return AgentRMI_ForEachParameter(group,
                                     [this](const std::string& name, const xercesc::DOMElement& member) {
                                         if (name != "groupmember")
                                             return true;
                                         std::optional<std::string> path = Xerces_FirstText(member);
                                         if (path)
                                             groupMembers_.push_back(std::move(*path));
                                         return path.has_value();
                                     });
}

bool AgentRMI_SubmitActionRunnableBase::checkPostParseConditions() const {
    bool complete = !actionScript_.empty();
    if (!complete)
        DEBUG_LOG("SubmitActionRunnable.checkPostParseConditions: actionScript is empty\n");
    for (const Needed& parameter : needed) {
        if (getAuditParameterValue(parameter.name) != nullptr)
            continue;
        complete = false;
        DEBUG_LOG("SubmitActionRunnable.checkPostParseConditions: %s\n", parameter.whenMissing);
    }
    return complete && AgentRMI_IsSafeName(getAuditParameterValue("actionid")) &&
           AgentRMI_IsSafeName(getAuditParameterValue("actionname"));
}

bool AgentRMI_SubmitActionRunnableDistributed::invoke() {
    for (const std::string& member : groupMembers())
        DEBUG_LOG("GroupMember %s\n", member.c_str());
    AgentRMI_RequireSystemUser(*this);
    const auto pieces = AgentActions_SegmentScript(actionScript());
    if (!pieces)
        throw RMI_MethodException(RMI_MethodException::GeneralFailure);
    // Before a scriptlet is made of each piece, which takes several times the memory of its markers.
    if (groupMembers().size() + 1 != pieces->size()) {
        DEBUG_LOG("GroupMembers != Scriptlets-1, %d != %d\n", static_cast<int>(groupMembers().size()),
                  static_cast<int>(pieces->size()) - 1);
        throw RMI_MethodException(RMI_MethodException::GeneralFailure,
                                  "Mismatch between scriptlets and action items");
    }
    makeScriptlets(*pieces);
    execAndReport();
    return true;
}

void AgentRMI_SubmitActionRunnableDistributed::makeScriptlets(const std::vector<std::string_view>& pieces) {
    scriptlets_.reserve(pieces.size());
    for (const std::string_view piece : pieces)
        scriptlets_.emplace_back(getAuditParameterValue("actionname"), getAuditParameterValue("actionid"),
                                 static_cast<int>(scriptlets_.size()), piece);
}

/// The header first; if it does well all others in order, whatever becomes of the one before.
void AgentRMI_SubmitActionRunnableDistributed::execScriptlets() {
    const char* user = getAuditParameterValue("sysuserid");
    const char* password = getAuditParameterValue("syspwd");
    AgentActions_ScriptletExecutor& header = scriptlets_.front();
    header.exec(user, password);
    if (header.getExecResult().getCode() == EXEC_SUCCESS) {
        for (auto scriptlet = std::next(scriptlets_.begin()); scriptlet != scriptlets_.end(); ++scriptlet) {
            scriptlet->exec(user, password);
            const Exec_ExecResult& result = scriptlet->getExecResult();
            DEBUG_LOG("execAndReport execed: %d, %s\n", static_cast<int>(result.getCode()),
                      result.getErrorString().c_str());
        }
    }
    DEBUG_LOG("execAndReport: done execing\n");
}

void AgentRMI_SubmitActionRunnableDistributed::execAndReport() {
    execScriptlets();
    const unsigned long long actionId = std::strtoull(getAuditParameterValue("actionid"), nullptr, 0);
    AgentActions_ActionResult report(actionId, STATUS_PENDINGS);
    const Exec_ExecResult& header = scriptlets_.front().getExecResult();
    if (header.getCode() == EXEC_SUCCESS)
        reportMembers(report, scriptlets_, groupMembers());
    else
        reportHeaderFailure(report, header, groupMembers());
    deliver(report);
}
