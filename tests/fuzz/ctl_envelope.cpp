/// What qdvctl is sent: an agent's reply, a call of an agent, and elements that a person has written.

#include "qdvctl/Ctl_Envelope.h"

#include "qdvctl/Ctl_Failure.h"
#include "target.h"

namespace {

/// Reads, or says on a line why not.
template <typename Read>
void attempt(Read read) {
    try {
        read();
    } catch (const Ctl_Failure& failure) {
        const std::string_view why = failure.what();
        require(!why.empty() && why.find('\n') == std::string_view::npos);
    }
}

} // namespace

void fuzz(std::string_view input) {
    const std::string text(input);
    attempt([&] { Ctl_BuildReply("Method", Ctl_ParseReply(text)); });
    attempt([&] { Ctl_BuildRequest(Ctl_ParseCall(text)); });
    attempt([&] { Ctl_BuildRequest(Ctl_RequestFor("Method", Ctl_ParseParameters(text, "file"))); });
}
