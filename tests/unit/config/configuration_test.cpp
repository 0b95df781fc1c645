#include "config/AgentConfig_Configuration.h"
#include "config/Config_Testing.h"
#include "net/HTTP_AddressPortPair.h"

namespace {

const std::string Server = R"(<ServerInfo hostname="srv" port="8080" sslPort="8443" uri="/u"/>)";

std::string document(const std::string& content, const std::string& version = "1.0") {
    return "<AgentConfiguration version=\"" + version + "\">" + content + "</AgentConfiguration>";
}

std::string withBinds(const std::string& binds) {
    return document(Server + "<AgentInfo><BindList>" + binds + "</BindList></AgentInfo>");
}

} // namespace

TEST(Configuration, ReadsBackWhatItWrites) {
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
    const std::string text = serialized(written);
    ASSERT_TRUE(parsed(read, text)) << read.lastError();
    EXPECT_EQ(serialized(read), text);
    EXPECT_EQ(std::string(read.getPassword()), std::string(written.getPassword()));
    ASSERT_EQ(read.getBindList().size(), 2U);
    EXPECT_STREQ(read.getBindList()[0]->getAddress(), "::1");
    EXPECT_EQ(read.getBindList()[1]->getPort(), -1);
}

TEST(Configuration, WhatMayBeLeftOutKeepsItsValue) {
    const std::pair<const char*, std::pair<unsigned, unsigned>> cases[] = {
        {"", {0, 0}},
        {R"(returnPortMin="5000" returnPortMax="")", {5000, 5000}},
        {R"(returnPortMax="6000" returnPortMin="5000")", {5000, 6000}},
        {R"(returnPortMax="6000")", {0, 6000}},
        {R"(returnPortMin="x" returnPortMax=" 7y")", {0, 7}},
    };
    for (const auto& [attributes, ports] : cases) {
        AgentConfig_Configuration configuration;
        EXPECT_TRUE(parsed(configuration,
                           document(Server + "<AgentInfo " + attributes + "><BindList/></AgentInfo>")));
        EXPECT_EQ(std::pair(configuration.getReturnPortMin(), configuration.getReturnPortMax()), ports)
            << attributes;
    }
}

/// However the file was made, the reason is one line of printable text that says what was expected where.
TEST(Configuration, RefusalsAreOneLine) {
    const std::pair<std::string, std::string> cases[] = {
        {document(Server), R"(AgentConfiguration: no element "AgentInfo"; expected exactly one)"},
        {withBinds("</BindList><BindList>"),
         R"(AgentInfo: more than one element "BindList"; expected exactly one)"},
        {withBinds("<Bind address=\"a\" port=\"1\"/><Bind address=\"\" port=\"2\"/>"),
         R"(Bind: attribute "address" is missing or empty; expected a host name or an IP address)"},
        {document("", "1&#10;\x7f" + std::string(100, 'x')),
         "AgentConfiguration: attribute \"version\" is \"1??" + std::string(77, 'x') +
             "...\"; expected \"1.0\""},
    };
    for (const auto& [text, reason] : cases) {
        AgentConfig_Configuration configuration;
        configuration.addBindPair("before", 1);
        EXPECT_FALSE(parsed(configuration, text)) << text;
        EXPECT_EQ(configuration.lastError(), reason);
        EXPECT_TRUE(configuration.getBindList().empty()) << text;
    }
    AgentConfig_Configuration configuration;
    EXPECT_FALSE(parsed(configuration, "<?xm\nl\x7f\n?>"));
    EXPECT_EQ(configuration.lastError().find_first_of("\n\x7f"), std::string::npos)
        << configuration.lastError();
}
