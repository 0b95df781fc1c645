#include "methods/AgentRMI_SubmitActionRunnable.h"

#include "actions/AgentActions_ActionResult.h"
#include "actions/AgentActions_RunningAction.h"
#include "actions/AgentActions_Script.h"
#include "calls/AgentRMI_ActionResult.h"
#include "log/Debug_Printf.h"
#include "rmi/RMI_MethodException.h"

#include <cstdlib>
#include <iterator>

namespace {

constexpr const char* STATUS_SUCCESS = "success";
constexpr const char* STATUS_FAILURE = "failure";
constexpr const char* STATUS_ERROR = "error";
constexpr const char* STATUS_PENDINGS = "pending";

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

[[noreturn]] void refuse(const std::string& reason) {
    DEBUG_LOG("Refusing an action: %s\n", reason.c_str());
    throw RMI_MethodException(RMI_MethodException::GeneralFailure, reason);
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

bool AgentRMI_SubmitActionRunnableBase::parseElements(const xercesc::DOMElement& method) {
    auto read = AgentRMI_ReadActionParameters(method, AgentRMI_ActionMethod::SubmitAction);
    if (!read)
        return false;
    action_ = std::move(*read);
    return checkPostParseConditions();
}

bool AgentRMI_SubmitActionRunnableBase::checkPostParseConditions() const {
    const struct {
        bool there;
        const char* whenMissing;
    } needed[] = {
        {!action_.script.empty(), "actionScript is empty"}, {action_.user.has_value(), "no username"},
        {action_.password.has_value(), "no password"},      {action_.actionName.has_value(), "no actionname"},
        {action_.actionId.has_value(), "no actionid"},
    };
    bool complete = true;
    for (const auto& parameter : needed) {
        if (!parameter.there)
            DEBUG_LOG("SubmitActionRunnable.checkPostParseConditions: %s\n", parameter.whenMissing);
        complete = complete && parameter.there;
    }
    return complete && AgentRMI_FitsFileName("actionid", action_.actionId);
}

bool AgentRMI_SubmitActionRunnableDistributed::invoke() {
    for (const std::string& member : action().groupMembers)
        DEBUG_LOG("GroupMember %s\n", member.c_str());
    AgentRMI_RequireSystemUser(action());
    const auto pieces = AgentActions_SegmentScript(action().script);
    if (!pieces)
        throw RMI_MethodException(RMI_MethodException::GeneralFailure);
    // Before a scriptlet is made of each piece, which takes several times the memory of its markers.
    if (action().groupMembers.size() + 1 != pieces->size()) {
        DEBUG_LOG("GroupMembers != Scriptlets-1, %d != %d\n", static_cast<int>(action().groupMembers.size()),
                  static_cast<int>(pieces->size()) - 1);
        refuse("Mismatch between scriptlets and action items");
    }
    makeScriptlets(*pieces);
    execScriptlets();
    reportToServer();
    return true;
}

void AgentRMI_SubmitActionRunnableDistributed::makeScriptlets(const std::vector<std::string_view>& pieces) {
    scriptlets_.reserve(pieces.size());
    for (const std::string_view piece : pieces)
        scriptlets_.emplace_back(action().actionName->c_str(), action().actionId->c_str(),
                                 static_cast<int>(scriptlets_.size()), piece);
}

/// The header first; if it does well all others in order, whatever becomes of the one before.
void AgentRMI_SubmitActionRunnableDistributed::execScriptlets() {
    const AgentActions_RunningAction running(*action().actionId);
    if (!running)
        refuse("action " + *action().actionId + " is already running");
    const char* user = action().user->c_str();
    const char* password = action().password->c_str();
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

void AgentRMI_SubmitActionRunnableDistributed::reportToServer() const {
    const unsigned long long actionId = std::strtoull(action().actionId->c_str(), nullptr, 0);
    AgentActions_ActionResult report(actionId, STATUS_PENDINGS);
    const Exec_ExecResult& header = scriptlets_.front().getExecResult();
    if (header.getCode() == EXEC_SUCCESS)
        reportMembers(report, scriptlets_, action().groupMembers);
    else
        reportHeaderFailure(report, header, action().groupMembers);
    deliver(report);
}
