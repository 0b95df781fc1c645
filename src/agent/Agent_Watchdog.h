#pragma once

#include "agent/Agent_ServiceManager.h"
#include "base/File_Descriptor.h"
#include "net/HTTP_AddressPortPair.h"

#include <chrono>
#include <netinet/in.h>
#include <thread>

/// A thread that gives the service manager its sign of life while the agent's own port answers a request:
/// twice within each of its limits it fetches the page from there, and what it says depends on the reply
/// alone. An answer may take half of the limit, since every worker may be held by a connection for a while.
class Agent_Watchdog {
public:
    /// `manager` is borrowed and waits for signs of life. `listening` is where the agent listens; with port
    /// 0, which stands for none that is known, there is nothing to ask, and every sign is given. Throws
    /// std::system_error if descriptors or threads are short.
    Agent_Watchdog(const Agent_ServiceManager& manager, const HTTP_AddressPortPair& listening);
    /// Ends a request that waits for its reply, too.
    ~Agent_Watchdog();
    Agent_Watchdog(const Agent_Watchdog&) = delete;
    Agent_Watchdog& operator=(const Agent_Watchdog&) = delete;

private:
    using Clock = std::chrono::steady_clock;

    enum class Wake { Ready, TimeUp, Ending };

    void run();
    bool portAnswers(Clock::time_point until) const;
    Wake wait(int descriptor, short events, Clock::time_point until) const;

    const Agent_ServiceManager& manager_;
    sockaddr_in listening_{};
    File_Descriptor ending_; ///< can be read once the thread is to end
    std::thread thread_;
};
