#include "actions/AgentActions_RunningAction.h"

#include <mutex>
#include <set>
#include <utility>

namespace {

std::mutex runningMutex;
std::set<std::string> runningIds; // guarded by runningMutex

} // namespace

AgentActions_RunningAction::AgentActions_RunningAction(std::string actionId)
    : actionId_(std::move(actionId)) {
    const std::lock_guard lock(runningMutex);
    mayRun_ = runningIds.insert(actionId_).second;
}

AgentActions_RunningAction::~AgentActions_RunningAction() {
    const std::lock_guard lock(runningMutex);
    if (mayRun_)
        runningIds.erase(actionId_);
}
