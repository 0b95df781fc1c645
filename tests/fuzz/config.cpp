#include "config/AgentConfig_Configuration.h"
#include "config/AgentConfig_Guid.h"
#include "xml/Xerces_Layer.h"

#include <xercesc/framework/MemBufInputSource.hpp>

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

namespace {

bool parse(Config_Configuration& configuration, std::string_view text) {
    xercesc::MemBufInputSource source(reinterpret_cast<const XMLByte*>(text.data()), text.size(), "");
    return configuration.parse(source);
}

std::string serialize(Config_Configuration& configuration) {
    char* buffer = nullptr;
    unsigned length = 0;
    if (!configuration.serialize(buffer, length))
        std::abort();
    const std::unique_ptr<char[]> owner(buffer);
    return {buffer, length};
}

/// What is read must write a file that reads as the same; what is not must say why on one line.
template <class Configuration>
void check(std::string_view text) {
    Configuration first;
    if (!parse(first, text)) {
        if (first.lastError().empty() || first.lastError().find('\n') != std::string::npos)
            std::abort();
        return;
    }
    const std::string written = serialize(first);
    Configuration second;
    if (!parse(second, written) || serialize(second) != written)
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool initialized = Xerces_LayerInit();
    if (!initialized)
        std::abort();
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    check<AgentConfig_Configuration>(text);
    check<AgentConfig_Guid>(text);
    return 0;
}
