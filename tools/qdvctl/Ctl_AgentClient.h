#pragma once

#include "qdvctl/Ctl_AgentOptions.h"
#include "qdvctl/Ctl_Envelope.h"

#include <chrono>
#include <string>
#include <string_view>

/// What an agent answered.
struct Ctl_Reply {
    std::string body;  ///< as it came
    Ctl_Node response; ///< the element Response
    std::chrono::microseconds duration{};

    bool isSuccess() const;
};

/// Calls the methods of one agent, each call on a connection of its own. Everything that keeps an answer from
/// coming throws Ctl_Failure. The XML and HTTP layers, and for TLS the TLS layer, must be up.
class Ctl_AgentClient {
public:
    /// The options are borrowed.
    explicit Ctl_AgentClient(const Ctl_AgentOptions& options);

    /// Identity, host and user of the request come from the options; a password is obtained here.
    Ctl_Reply call(Ctl_Request request) const;

    /// "HOST:PORT"
    std::string name() const;

private:
    std::string post(std::string_view body) const;
    [[noreturn]] void failWithoutReply() const;

    const Ctl_AgentOptions& options_;
    Ctl_Address address_;
};
