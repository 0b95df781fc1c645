#include "config/AgentConfig_Configuration.h"
#include "config/Config_Testing.h"
#include "net/HTTP_AddressPortPair.h"

namespace {

using ConfigurationTest = ConfigTest;

const std::string Server = R"(<ServerInfo hostname="srv" port="8080" sslPort="8443" uri="/u"/>)";
const std::string Agent = R"(<AgentInfo><BindList><Bind address="a" port="1"/></BindList></AgentInfo>)";

std::string document(const std::string& content, const std::string& version = "1.0") {
    return "<AgentConfiguration version=\"" + version + "\">" + content + "</AgentConfiguration>";
}

std::string withBinds(const std::string& binds) {
    return document(Server + "<AgentInfo><BindList>" + binds + "</BindList></AgentInfo>");
}

std::string withReturn(const std::string& attributes) {
    return document(Server + "<AgentInfo " + attributes + "><BindList/></AgentInfo>");
}

std::string bindsOf(const AgentConfig_Configuration& configuration) {
    std::string text;
    for (const HTTP_AddressPortPair* pair : configuration.getBindList())
        text += std::string(pair->getAddress()) + ':' + std::to_string(pair->getPort()) + ' ';
    return text;
}

std::string returnPorts(const std::string& attributes) {
    AgentConfig_Configuration configuration;
    EXPECT_TRUE(parsed(configuration, withReturn(attributes))) << configuration.lastError();
    return std::to_string(configuration.getReturnPortMin()) + '-' +
           std::to_string(configuration.getReturnPortMax());
}

/// The reason for which a text is refused.
std::string refusal(const std::string& text) {
    AgentConfig_Configuration configuration;
    configuration.addBindPair("before", 1);
    EXPECT_FALSE(parsed(configuration, text)) << text;
    EXPECT_TRUE(configuration.getBindList().empty()) << text;
    return configuration.lastError();
}

} // namespace

TEST_F(ConfigurationTest, WritesEveryAttribute) {
    AgentConfig_Configuration configuration;
    EXPECT_EQ(
        bodyOf(serialized(configuration)),
        R"(<AgentConfiguration version="1.0"><ServerInfo hostname="" password="" port="80" proxyHostname="" )"
        R"(proxyPort="0" sslPort="443" uri="/BrindlexServer" username=""/><AgentInfo returnAddress="" )"
        R"(returnPortMax="0" returnPortMin="0"><BindList/></AgentInfo></AgentConfiguration>)");
}

TEST_F(ConfigurationTest, ReadsBackWhatItWrites) {
    AgentConfig_Configuration written;
    written.setServerHostname("server.example");
    written.setServerPort(81);
    written.setServerSSLPort(4294967295U);
    written.setServerURI("/a?b=<c>&d=\"e\"'\n\t");
    written.setProxyHostname("proxy");
    written.setProxyPort(3128);
    written.setUsername(" us\xc3\xa9r ");
    written.setPassword("\xff\x01 p&\"]]>");
    written.setReturnAddress("10.0.0.1");
    written.setReturnPortMin(18372);
    written.setReturnPortMax(18382);
    written.addBindPair("::1", 8372);
    written.addBindPair("host", -1);

    AgentConfig_Configuration read;
    ASSERT_TRUE(parsed(read, serialized(written))) << read.lastError();
    EXPECT_EQ(read.getServerHostname(), written.getServerHostname());
    EXPECT_EQ(read.getServerPort(), written.getServerPort());
    EXPECT_EQ(read.getServerSSLPort(), written.getServerSSLPort());
    EXPECT_EQ(read.getServerURI(), written.getServerURI());
    EXPECT_EQ(read.getProxyHostname(), written.getProxyHostname());
    EXPECT_EQ(read.getProxyPort(), written.getProxyPort());
    EXPECT_EQ(read.getUsername(), written.getUsername());
    EXPECT_EQ(read.getPassword(), written.getPassword());
    EXPECT_EQ(read.getReturnAddress(), written.getReturnAddress());
    EXPECT_EQ(read.getReturnPortMin(), written.getReturnPortMin());
    EXPECT_EQ(read.getReturnPortMax(), written.getReturnPortMax());
    EXPECT_EQ(bindsOf(read), "::1:8372 host:-1 ");
}

TEST_F(ConfigurationTest, WhatMayBeLeftOutKeepsItsValue) {
    AgentConfig_Configuration configuration;
    EXPECT_TRUE(parsed(configuration, document(Server + Agent)));
    EXPECT_EQ(configuration.getServerPort(), 8080U);
    EXPECT_EQ(configuration.getProxyPort(), 0U);
    EXPECT_EQ(returnPorts(""), "0-0");
    EXPECT_EQ(returnPorts(R"(returnPortMin="5000" returnPortMax="")"), "5000-5000");
    EXPECT_EQ(returnPorts(R"(returnPortMax="6000" returnPortMin="5000")"), "5000-6000");
    EXPECT_EQ(returnPorts(R"(returnPortMax="6000")"), "0-6000");
    EXPECT_EQ(returnPorts(R"(returnPortMin="x" returnPortMax=" 7y")"), "0-7");
}

TEST_F(ConfigurationTest, OnlyBindElementsOfTheListCount) {
    AgentConfig_Configuration configuration;
    EXPECT_TRUE(parsed(configuration, withBinds("\n<!-- one --><Bind address=\"a\" port=\"1\"/> text <?pi?>"
                                                "<Other address=\"x\"><Bind/></Other>"
                                                "<Bind port=\"2\" address=\"b\" more=\"\"><x/></Bind>")));
    EXPECT_EQ(bindsOf(configuration), "a:1 b:2 ");
    EXPECT_TRUE(parsed(configuration, withBinds("")));
    EXPECT_EQ(bindsOf(configuration), "a:1 b:2 ");
    configuration.deallocateBindList();
    EXPECT_TRUE(configuration.getBindList().empty());
}

TEST_F(ConfigurationTest, RefusalSaysWhatWasExpectedWhere) {
    EXPECT_EQ(refusal(document(Server + Agent, "1.1")),
              R"(AgentConfiguration: attribute "version" is "1.1"; expected "1.0")");
    EXPECT_EQ(refusal(document(Server + Agent, "")),
              R"(AgentConfiguration: attribute "version" is ""; expected "1.0")");
    EXPECT_EQ(refusal("<Other version=\"1.0\"/>"),
              R"(the root element is "Other"; expected "AgentConfiguration")");
    EXPECT_EQ(refusal(document(Agent)),
              R"(AgentConfiguration: no element "ServerInfo"; expected exactly one)");
    EXPECT_EQ(refusal(document(Server + "<x>" + Server + "</x>" + Agent)),
              R"(AgentConfiguration: more than one element "ServerInfo"; expected exactly one)");
    EXPECT_EQ(refusal(document(Server)),
              R"(AgentConfiguration: no element "AgentInfo"; expected exactly one)");
    EXPECT_EQ(refusal(document(Server + Agent + Agent)),
              R"(AgentConfiguration: more than one element "AgentInfo"; expected exactly one)");
    EXPECT_EQ(refusal(document(Server + "<AgentInfo/><BindList/>")),
              R"(AgentInfo: no element "BindList"; expected exactly one)");
    EXPECT_EQ(refusal(withBinds("</BindList><BindList>")),
              R"(AgentInfo: more than one element "BindList"; expected exactly one)");
    EXPECT_EQ(refusal(document(R"(<ServerInfo hostname="h" port="" sslPort="1" uri="/"/>)" + Agent)),
              R"(ServerInfo: attribute "port" is missing or empty; expected a decimal port number)");
    EXPECT_EQ(
        refusal(document(R"(<ServerInfo port="1" sslPort="1" uri="/"/>)" + Agent)),
        R"(ServerInfo: attribute "hostname" is missing or empty; expected a host name or an IP address)");
    EXPECT_EQ(refusal(withBinds("<Bind address=\"a\" port=\"1\"/><Bind address=\"\" port=\"2\"/>")),
              R"(Bind: attribute "address" is missing or empty; expected a host name or an IP address)");
    EXPECT_EQ(refusal(withBinds("<Bind address=\"a\"/>")),
              R"(Bind: attribute "port" is missing or empty; expected a decimal port number)");
    // However the file was made, the reason stays one line of printable text.
    EXPECT_EQ(refusal(document("", "1&#10;\x7f" + std::string(100, 'x'))),
              "AgentConfiguration: attribute \"version\" is \"1??" + std::string(77, 'x') +
                  "...\"; expected \"1.0\"");
}

TEST_F(ConfigurationTest, RefusesWhatIsNoDocument) {
    const std::string whole = document(Server + Agent);
    for (const std::string& text :
         {std::string(), std::string("\0\0", 2), std::string("no XML"), std::string("<?xm\nl\x7f\n?>"),
          whole + "<more/>", whole.substr(0, whole.size() - 1), "<!DOCTYPE AgentConfiguration []>" + whole,
          document("<x y='1' y='2'/>")}) {
        const std::string reason = refusal(text);
        EXPECT_EQ(reason.rfind("not an XML document: ", 0), 0U) << reason;
        EXPECT_GT(reason.size(), std::string("not an XML document: ").size()) << text;
        EXPECT_EQ(reason.find('\n'), std::string::npos) << reason;
    }
}

TEST_F(ConfigurationTest, FieldsReadBeforeARefusalStay) {
    AgentConfig_Configuration configuration;
    EXPECT_FALSE(
        parsed(configuration, document(R"(<ServerInfo hostname="srv" port="81" uri="/u"/>)" + Agent)));
    EXPECT_EQ(configuration.getServerHostname(), "srv");
    EXPECT_EQ(configuration.getServerPort(), 81U);
    EXPECT_EQ(configuration.getServerURI(), "/BrindlexServer");
    EXPECT_TRUE(parsed(configuration, document(Server + Agent)));
    EXPECT_EQ(configuration.lastError(), "");
}
