// What qdvctl says about configuration files.

#include "config/AgentConfig_Configuration.h"
#include "qdvctl/Ctl_ConfigFiles.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

void makeSound(AgentConfig_Configuration& configuration) {
    configuration.setServerHostname("server");
    configuration.addBindPair("a", 8372);
}

TEST(ConfigWarnings, NameWhatTheAgentTakesButNobodyMeans) {
    const struct {
        std::function<void(AgentConfig_Configuration&)> spoil;
        const char* complaint;
    } cases[] = {
        {[](auto& c) { c.setServerPort(0); }, "ServerInfo: port is 0, which is no port"},
        {[](auto& c) { c.setServerSSLPort(65536); }, "ServerInfo: sslPort is 65536, which is no port"},
        {[](auto& c) { c.setProxyHostname("p"); }, "the proxy is not used"},
        {[](auto& c) { c.setReturnPortMin(9), c.setReturnPortMax(8); }, "no range of ports"},
        {[](auto& c) { c.setReturnPortMin(65530), c.setReturnPortMax(65536); }, "no range of ports"},
        {[](auto& c) { c.setReturnPortMin(9), c.setReturnPortMax(17); },
         "fewer than the recommended 10 ports"},
        {[](auto& c) { c.deallocateBindList(); }, "the agent listens nowhere"},
        {[](auto& c) { c.addBindPair("a", 8372); }, "a port 8372 is there twice"},
        {[](auto& c) { c.addBindPair("b", -1); }, "Bind: port of b is 4294967295, which is no port"},
    };
    for (const auto& [spoil, complaint] : cases) {
        AgentConfig_Configuration configuration;
        makeSound(configuration);
        spoil(configuration);
        EXPECT_THAT(Ctl_ConfigWarnings(configuration), ElementsAre(HasSubstr(complaint)));
    }
    AgentConfig_Configuration sound;
    makeSound(sound);
    sound.setReturnPortMin(9);
    sound.setReturnPortMax(18);
    sound.setProxyHostname("p");
    sound.setProxyPort(1);
    sound.addBindPair("a", 8373);
    EXPECT_THAT(Ctl_ConfigWarnings(sound), IsEmpty());
}

} // namespace
