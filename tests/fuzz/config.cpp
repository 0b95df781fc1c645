#include "config/AgentConfig_Configuration.h"
#include "config/AgentConfig_Guid.h"
#include "target.h"

#include <xercesc/framework/MemBufInputSource.hpp>

#include <memory>

namespace {

bool parse(Config_Configuration& configuration, std::string_view text) {
    xercesc::MemBufInputSource source(reinterpret_cast<const XMLByte*>(text.data()), text.size(), "");
    return configuration.parse(source);
}

std::string serialize(Config_Configuration& configuration) {
    char* buffer = nullptr;
    unsigned length = 0;
    require(configuration.serialize(buffer, length));
    const std::unique_ptr<char[]> owner(buffer);
    return {buffer, length};
}

/// What is read must write a file that reads as the same; what is not must say why on one line.
template <class Configuration>
void check(std::string_view text) {
    Configuration first;
    if (!parse(first, text)) {
        require(!first.lastError().empty() && first.lastError().find('\n') == std::string::npos);
        return;
    }
    const std::string written = serialize(first);
    Configuration second;
    require(parse(second, written) && serialize(second) == written);
}

} // namespace

void fuzz(std::string_view input) {
    check<AgentConfig_Configuration>(input);
    check<AgentConfig_Guid>(input);
}
