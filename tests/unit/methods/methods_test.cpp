#include "config/AgentConfig_Configuration.h"
#include "log/Debug_Printf.h"
#include "methods/AgentRMI_MethodFactory.h"
#include "methods/AgentRMI_MethodPingServer.h"
#include "rmi/AgentRMI_Identities.h"
#include "rmi/RMI_Exchange.h"
#include "rmi/RMI_Method.h"
#include "rmi/RMI_MethodException.h"

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

namespace {

const std::string agentElement = R"(<Agent build="421" product="VRK" type="Linux" version="2.1.1"/>)";

class Methods : public WithIdentities {
protected:
    void SetUp() override {
        WithIdentities::SetUp();
        gPathToExec = folder;
        // A server that is not there: nothing listens on the port that calls go to.
        gAgentConfig = std::make_unique<Config_File<AgentConfig_Configuration>>();
        gAgentConfig->getConfig()->setServerHostname("127.0.0.1");
        gAgentConfig->getConfig()->setServerSSLPort(1);
    }
    void TearDown() override {
        if (gDebugPrintf.getDebugState() == Debug_Printf::LogFile)
            gDebugPrintf.logfile_close();
        gAgentConfig.reset();
        WithIdentities::TearDown();
    }

    Reply send(const std::string& body) {
        AgentRMI_MethodFactory factory;
        ScriptedPeer peer;
        return process(&factory, body, Socket_Socket::ENCRYPTION_NONE, &peer);
    }
    std::string verbose(const std::string& parameters) {
        return send(call("uuid='u'", "<Method name='SetVerboseLog'>" + parameters + "</Method>")).outcome();
    }
    std::string logPath() const { return folder + "/QDVAgent.log"; }
};

// Stands first: a log that has once been closed does not go to the console again.
TEST_F(Methods, VerboseLogLeavesTheConsoleAlone) {
    ASSERT_EQ(gDebugPrintf.getDebugState(), Debug_Printf::StandardOutput);
    gDebugPrintf.setEnabled(true);
    const std::string on = verbose("<VerboseMode>on</VerboseMode>");
    const std::string off = verbose("<VerboseMode>off</VerboseMode>");
    const bool enabled = gDebugPrintf.isEnabled();
    gDebugPrintf.setEnabled(false);
    EXPECT_EQ(on, "error|");
    EXPECT_EQ(off, "error|");
    EXPECT_TRUE(enabled);
    EXPECT_FALSE(std::filesystem::exists(logPath()));
}

TEST_F(Methods, TheTableDecidesWhatAMethodAsksFor) {
    AgentRMI_MethodFactory factory;
    const auto row = [&](const char* name) {
        const std::unique_ptr<RMI_Method> method = factory.createMethod(name, "g");
        if (!method)
            return std::string("unknown");
        return std::string(method->getMethodName()) + (method->checkForValidGuid() ? " identity" : "") +
               (method->validateEncryptionProtocol(Socket_Socket::ENCRYPTION_NONE) ? " plain" : "") +
               (method->validateEncryptionProtocol(Socket_Socket::ENCRYPTION_SSL) ? " ssl" : "") +
               (method->checkRequireUserAuthentication() ? " user" : "") + " " + method->getGuid();
    };
    EXPECT_EQ(row("Ping"), "Ping plain ssl g");
    EXPECT_EQ(row("PingServer"), "PingServer plain ssl g");
    EXPECT_EQ(row("SetVerboseLog"), "SetVerboseLog identity plain ssl g");
    EXPECT_EQ(row("SetCallServerWithSSL"), "SetCallServerWithSSL identity ssl g");
    for (const char* name : {"", "ping", "Ping ", "PingServe", "NoSuchMethod"})
        EXPECT_EQ(row(name), "unknown") << name;
}

TEST_F(Methods, PingTellsWhatTheAgentIs) {
    EXPECT_EQ(responseOf(send(call("", "<Method name='Ping'/>")).text),
              R"(<Response name="Ping" reason="success" response="success" type="method">)" + agentElement +
                  "</Response>");
    EXPECT_EQ(responseOf(send(call("uuid='u'", "<Method name='Ping'> text </Method>")).text),
              R"(<Response name="Ping" reason="success" response="success" type="method" uuid="u">)" +
                  agentElement + "</Response>");
    EXPECT_EQ(responseOf(send(call("uuid='other'", "<Method name='Ping'><a/></Method>")).text),
              R"(<Response name="Ping" reason="" response="too many parameters" type="method" uuid="u"/>)");
}

TEST_F(Methods, PingServerStandsAndFallsWithTheServer) {
    EXPECT_EQ(send(call("", "<Method name='PingServer'/>")).outcome(), "error|");
    EXPECT_EQ(send(call("", "<Method name='PingServer'><a/></Method>")).outcome(), "too many parameters|");

    constexpr AgentRMI_MethodRules rules{"PingServer", AgentRMI_Identity::NotNeeded,
                                         AgentRMI_Protocols::PlainAndSSL, AgentRMI_UserAuthentication::No};
    const auto answer = [&](AgentRMI_ServerPing ping) {
        const Xerces_DocumentPtr document = Xerces_Parse("<R><Method/><Response/></R>", "test");
        const auto parts = Xerces_ChildElements(*Xerces_Root(*document));
        AgentRMI_MethodPingServer method(rules, "", std::move(ping));
        try {
            method.invoke(parts[0], document.get(), parts[1]);
        } catch (const RMI_MethodException& failure) {
            return std::to_string(failure.getExceptionCode()) + Xerces_Serialize(*document);
        }
        return Xerces_Serialize(*document);
    };
    int calls = 0;
    EXPECT_NE(answer([&] { ++calls; }).find("<Response>" + agentElement + "</Response>"), std::string::npos);
    EXPECT_EQ(calls, 1);
    const std::string failed = answer([] { throw std::runtime_error("down"); });
    EXPECT_EQ(failed[0], '7');
    EXPECT_EQ(failed.find("Agent"), std::string::npos);
}

TEST_F(Methods, VerboseLogLooksAtItsParameter) {
    struct Case {
        const char* parameters;
        const char* outcome;
    };
    const Case cases[] = {
        {"", "too few parameters|"},
        {"on", "too few parameters|"},
        {"<Other>on</Other>", "too few parameters|"},
        {"<VerboseMode/>", "too many parameters|"},
        {"<VerboseMode>on</VerboseMode><VerboseMode>on</VerboseMode>", "too many parameters|"},
        {"<VerboseMode><on/></VerboseMode>", "too many parameters|"},
        {"<VerboseMode>maybe</VerboseMode>", "error|"},
        {"<VerboseMode> on</VerboseMode>", "error|"},
        {"<VerboseMode>onn</VerboseMode>", "error|"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(verbose(c.parameters), c.outcome) << c.parameters;
    EXPECT_FALSE(gDebugPrintf.isEnabled());
    EXPECT_EQ(send(call("", "<Method name='SetVerboseLog'><VerboseMode>on</VerboseMode></Method>")).outcome(),
              "error|invalid uuid");
}

TEST_F(Methods, VerboseLogOpensAndClosesTheFile) {
    EXPECT_EQ(verbose("<VerboseMode>off</VerboseMode>"), "success|success");
    EXPECT_FALSE(std::filesystem::exists(logPath()));

    EXPECT_EQ(verbose("<VerboseMode>oN</VerboseMode>"), "success|success");
    EXPECT_TRUE(gDebugPrintf.isEnabled());
    EXPECT_EQ(gDebugPrintf.getDebugState(), Debug_Printf::LogFile);
    ASSERT_TRUE(std::filesystem::exists(logPath()));

    // Again does not start the file anew: the lines of this call come behind what is there.
    const auto size = std::filesystem::file_size(logPath());
    EXPECT_EQ(verbose("<VerboseMode>ON</VerboseMode>"), "success|success");
    EXPECT_GT(std::filesystem::file_size(logPath()), size);
    std::ifstream file(logPath());
    const std::string log{std::istreambuf_iterator<char>(file), {}};
    EXPECT_NE(log.find("RMI: is request\n"), std::string::npos);
    EXPECT_NE(log.find("RMI: is method\n"), std::string::npos);
    EXPECT_NE(log.find("methodName == [SetVerboseLog]\n"), std::string::npos);

    EXPECT_EQ(verbose("<VerboseMode>OFF</VerboseMode>"), "success|success");
    EXPECT_FALSE(gDebugPrintf.isEnabled());

    gPathToExec = folder + "/absent";
    EXPECT_EQ(verbose("<VerboseMode>on</VerboseMode>"), "error|");
    EXPECT_FALSE(gDebugPrintf.isEnabled());
}

} // namespace
