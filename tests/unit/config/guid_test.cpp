#include "config/AgentConfig_Guid.h"
#include "config/Config_Testing.h"

namespace {

std::string identities(const std::string& version, const std::string& content) {
    return "<AgentUuidConfiguration version=\"" + version + "\">" + content + "</AgentUuidConfiguration>";
}

const std::string Empty = identities("1.1", "<Uuids/>");

/// What an object that already holds a pair writes after reading `text`.
std::string rewritten(const std::string& text) {
    AgentConfig_Guid guid;
    EXPECT_TRUE(parsed(guid, text)) << guid.lastError();
    return serialized(guid);
}

} // namespace

TEST(Guid, EachTargetHostHasItsOwn) {
    AgentConfig_Guid guid;
    guid.setGuid("own");
    guid.setGuid("first", "host");
    guid.setGuid("second", "host");
    EXPECT_EQ(guid.getGuid() + guid.getGuid("host") + guid.getGuid("Host"), "ownsecond");
    EXPECT_EQ(guid.getNumberOfPairs(), 2U);
    guid.setGuid("", "host");
    guid.setDefaults();
    EXPECT_EQ(serialized(guid), Empty);
    guid.deallocateGuidTargetHostPairs();
    EXPECT_EQ(guid.getNumberOfPairs(), 0U);
}

TEST(Guid, ReadsTheListFormAndTheOldSingleForm) {
    EXPECT_EQ(
        rewritten(identities("1.1",
                             " <!-- --><Uuids>\n<Uuid value=\"a\"/><Other value=\"x\"/>"
                             "<Uuid hostTarget=\"h&amp;\" value=\"b\"/><Uuid hostTarget=\"h\"/></Uuids>")),
        identities("1.1",
                   R"(<Uuids><Uuid hostTarget="" value="a"/><Uuid hostTarget="h&amp;" value="b"/></Uuids>)"));
    EXPECT_EQ(rewritten(identities("1.0", "<x><Uuid hostTarget=\"h\">abc</Uuid></x>")),
              identities("1.1", R"(<Uuids><Uuid hostTarget="" value="abc"/></Uuids>)"));
    EXPECT_EQ(rewritten(identities("1.0", "<Uuid/>")), Empty);
    EXPECT_EQ(rewritten(identities("1.0", "<Uuid><x>abc</x></Uuid>")), Empty);
    EXPECT_EQ(rewritten(Empty), Empty);
}

TEST(Guid, AFileThatIsRefusedLeavesNothing) {
    const std::pair<std::string, std::string> cases[] = {
        {identities("2.0", "<Uuids/>"),
         R"(AgentUuidConfiguration: attribute "version" is "2.0"; expected "1.1" or "1.0")"},
        {identities("1.1", "<Uuids><Uuids/></Uuids>"),
         R"(AgentUuidConfiguration: more than one element "Uuids"; expected exactly one)"},
        {identities("1.0", "<Uuids/>"), R"(AgentUuidConfiguration: no element "Uuid"; expected exactly one)"},
        {"<AgentConfiguration version=\"1.1\"><Uuids/></AgentConfiguration>",
         R"(the root element is "AgentConfiguration"; expected "AgentUuidConfiguration")"},
    };
    for (const auto& [text, reason] : cases) {
        AgentConfig_Guid guid;
        guid.setGuid("g", "before");
        EXPECT_FALSE(parsed(guid, text)) << text;
        EXPECT_EQ(guid.lastError(), reason);
        EXPECT_EQ(serialized(guid), Empty);
    }
}

TEST(Guid, PairCopiesAndTakesNullForEmpty) {
    const auto pair = AgentConfig_FactoryAllocateGuidTargetHostPair();
    const auto copy = AgentConfig_FactoryAllocateGuidTargetHostPair();
    pair->setGuid("g");
    pair->setTargetHost("h");
    pair->copyInto(*copy);
    EXPECT_EQ(copy->getGuid() + '/' + copy->getTargetHost(), "g/h");
    copy->setGuid(nullptr);
    copy->setTargetHost(nullptr);
    EXPECT_EQ(copy->getGuid() + copy->getTargetHost(), "");
    EXPECT_FALSE(pair->parse(nullptr));
    EXPECT_FALSE(pair->serialize(nullptr, nullptr));
}
