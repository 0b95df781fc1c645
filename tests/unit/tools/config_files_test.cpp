// What qdvctl says about configuration files.

#include "config/AgentConfig_Configuration.h"
#include "qdvctl/Ctl_ConfigFiles.h"
#include "qdvctl/Ctl_Layers.h"
#include "qdvctl/Ctl_Render.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

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

class ConfigFiles : public testing::Test {
protected:
    ConfigFiles() {
        std::string pattern = testing::TempDir() + "qdvctl-XXXXXX";
        directory = mkdtemp(pattern.data());
    }
    ~ConfigFiles() override { std::filesystem::remove_all(directory); }

    void write(const char* name, const std::string& text) { std::ofstream(directory + "/" + name) << text; }

    std::string directory;
    Ctl_Layers layers{Ctl_Layers::XmlOnly};
};

std::string agentConf(const std::string& port) {
    return "<AgentConfiguration version='1.0'>"
           "<ServerInfo hostname='s' port='" +
           port +
           "' sslPort='443' uri='/u' proxyHostname='p' proxyPort='1' username='joe' password='topsecret'/>"
           "<AgentInfo><BindList><Bind address='a' port='7'/></BindList></AgentInfo></AgentConfiguration>";
}

TEST_F(ConfigFiles, AreShownWithTheValuesInUseAndWithoutThePassword) {
    write("agent.conf", agentConf("80"));
    chmod((directory + "/agent.conf").c_str(), 0600);
    write("uuid.conf", "<AgentUuidConfiguration version='1.0'><Uuid>id</Uuid></AgentUuidConfiguration>");
    const auto files = Ctl_ReadConfigFiles(directory);
    ASSERT_EQ(files.size(), 2U);
    EXPECT_EQ(files[0].path, directory + "/agent.conf");
    EXPECT_EQ(files[0].state, Ctl_ConfigFile::Good);
    EXPECT_THAT(files[0].warnings, IsEmpty());
    const std::string shown = Ctl_RenderText({files[0].content, files[1].content});
    EXPECT_THAT(shown, HasSubstr("password       (set)\n"));
    EXPECT_THAT(shown, Not(HasSubstr("topsecret")));
    EXPECT_THAT(shown, HasSubstr("returnPortMin  0\n"));
    EXPECT_THAT(shown, HasSubstr("value       id\n"));
}

TEST_F(ConfigFiles, AreRefusedWithFileElementAndAttribute) {
    auto files = Ctl_ReadConfigFiles(directory);
    EXPECT_EQ(files[0].state, Ctl_ConfigFile::Absent);
    EXPECT_FALSE(files[0].isUsable()) << "the agent does not start without agent.conf";
    EXPECT_EQ(files[1].state, Ctl_ConfigFile::Absent);
    EXPECT_TRUE(files[1].isUsable());

    write("agent.conf", agentConf(""));
    write("uuid.conf", "<AgentUuidConfiguration version='3.0'/>");
    files = Ctl_ReadConfigFiles(directory);
    EXPECT_EQ(files[0].state, Ctl_ConfigFile::Faulty);
    EXPECT_THAT(files[0].reason,
                testing::AllOf(HasSubstr("ServerInfo"), HasSubstr("\"port\""), HasSubstr("port number")));
    EXPECT_EQ(files[1].state, Ctl_ConfigFile::Faulty);
    EXPECT_THAT(files[1].reason, HasSubstr("version"));
}

TEST_F(ConfigFiles, WarnOfAPasswordThatAllCanRead) {
    write("agent.conf", agentConf("80"));
    chmod((directory + "/agent.conf").c_str(), 0644);
    EXPECT_THAT(Ctl_ReadConfigFiles(directory)[0].warnings, ElementsAre(HasSubstr("every user")));
}

} // namespace
