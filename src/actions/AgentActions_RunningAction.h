#pragma once

#include <string>

/// The sole right to run the action of one id, from the making of the object to its end. The files of
/// scriptlets are named for the id, so two actions of one id would run and remove each other's. Thread-safe.
class AgentActions_RunningAction {
public:
    explicit AgentActions_RunningAction(std::string actionId);
    AgentActions_RunningAction(const AgentActions_RunningAction&) = delete;
    AgentActions_RunningAction& operator=(const AgentActions_RunningAction&) = delete;
    ~AgentActions_RunningAction();

    /// False if another action of the id is running: this one must not.
    explicit operator bool() const { return mayRun_; }

private:
    std::string actionId_;
    bool mayRun_;
};
