/// What qdvctl is sent: an agent's reply, a call of an agent, and elements that a person has written.

#include "qdvctl/Ctl_Envelope.h"

#include "qdvctl/Ctl_Failure.h"
#include "xml/Xerces_Layer.h"

#include <cstdlib>
#include <string>
#include <string_view>

namespace {

/// Reads, or says on a line why not.
template <typename Read>
void attempt(Read read) {
    try {
        read();
    } catch (const Ctl_Failure& failure) {
        const std::string_view why = failure.what();
        if (why.empty() || why.find('\n') != std::string_view::npos)
            std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    return Xerces_LayerInit() ? 0 : -1;
}

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    attempt([&] { Ctl_BuildReply("Method", Ctl_ParseReply(text)); });
    attempt([&] { Ctl_BuildRequest(Ctl_ParseCall(text)); });
    attempt([&] { Ctl_BuildRequest(Ctl_RequestFor("Method", Ctl_ParseParameters(text, "file"))); });
    return 0;
}
