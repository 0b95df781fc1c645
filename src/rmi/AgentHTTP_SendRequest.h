#pragma once

#include <atomic>
#include <cstddef>
#include <string>

/// Whether the enterprise wants the agent's calls over TLS. The server says so at start-up and whenever it
/// changes; true until it has spoken.
extern std::atomic<bool> gCallServerWithSSL;

/// Posts `body`, an XML document, to the server of agent.conf, directly or through its proxy, over a
/// connection of its own. True if a reply with status 200 came; its body, if it has one, is then in `reply`,
/// which stays as it was otherwise. The TLS port is used if `sslPreferred` or gCallServerWithSSL. Blocks
/// until the exchange is over. Thread-safe; holds gMutexAgentConfig only while it copies the settings. Throws
/// RMI_MethodException with a general failure if they cannot be copied.
bool AgentHTTP_SendRequest(const char* body, std::size_t length, std::string& reply, bool verifyPeer,
                           bool sslPreferred);
bool AgentHTTP_SendRequest(const std::string& body, std::string& reply, bool verifyPeer, bool sslPreferred);
