#include "config/AgentConfig_Guid.h"
#include "config/Config_Testing.h"

namespace {

using GuidTest = ConfigTest;

std::string document(const std::string& version, const std::string& content) {
    return "<AgentUuidConfiguration version=\"" + version + "\">" + content + "</AgentUuidConfiguration>";
}

const std::string Empty = document("1.1", "<Uuids/>");

/// What an object that already holds a pair writes after reading `text`.
std::string rewritten(const std::string& text) {
    AgentConfig_Guid guid;
    EXPECT_TRUE(parsed(guid, text)) << guid.lastError();
    return bodyOf(serialized(guid));
}

std::string refusal(const std::string& text) {
    AgentConfig_Guid guid;
    guid.setGuid("g", "before");
    EXPECT_FALSE(parsed(guid, text)) << text;
    EXPECT_EQ(bodyOf(serialized(guid)), Empty);
    AgentConfig_Guid again;
    parsed(again, text);
    return again.lastError();
}

} // namespace

TEST_F(GuidTest, EachTargetHostHasItsOwn) {
    AgentConfig_Guid guid;
    EXPECT_EQ(guid.getGuid(), "");
    guid.setGuid("own");
    EXPECT_EQ(guid.getGuid(), "own");
    EXPECT_EQ(guid.getGuid("host"), "");
    guid.setGuid("first", "host");
    guid.setGuid("second", "host");
    EXPECT_EQ(guid.getGuid("host"), "second");
    EXPECT_EQ(guid.getGuid("Host"), "");
    EXPECT_EQ(
        bodyOf(serialized(guid)),
        document(
            "1.1",
            R"(<Uuids><Uuid hostTarget="" value="own"/><Uuid hostTarget="host" value="second"/></Uuids>)"));
    guid.setGuid("", "host");
    guid.setDefaults();
    EXPECT_EQ(bodyOf(serialized(guid)), Empty);
    guid.setGuid("own");
    guid.deallocateGuidTargetHostPairs();
    EXPECT_EQ(guid.getGuid(), "");
}

TEST_F(GuidTest, ReadsTheListFormAndTheOldSingleForm) {
    EXPECT_EQ(
        rewritten(document("1.1",
                           " <!-- --><Uuids>\n<Uuid value=\"a\"/><Other value=\"x\"/>"
                           "<Uuid hostTarget=\"h&amp;\" value=\"b\"/><Uuid hostTarget=\"h\"/></Uuids>")),
        document("1.1",
                 R"(<Uuids><Uuid hostTarget="" value="a"/><Uuid hostTarget="h&amp;" value="b"/></Uuids>)"));
    EXPECT_EQ(rewritten(document("1.0", "<x><Uuid hostTarget=\"h\">abc</Uuid></x>")),
              document("1.1", R"(<Uuids><Uuid hostTarget="" value="abc"/></Uuids>)"));
    EXPECT_EQ(rewritten(document("1.0", "<Uuid/>")), Empty);
    EXPECT_EQ(rewritten(document("1.0", "<Uuid><x>abc</x></Uuid>")), Empty);
    EXPECT_EQ(rewritten(Empty), Empty);
}

TEST_F(GuidTest, RefusesEveryOtherForm) {
    EXPECT_EQ(refusal(document("2.0", "<Uuids/>")),
              R"(AgentUuidConfiguration: attribute "version" is "2.0"; expected "1.1" or "1.0")");
    EXPECT_EQ(refusal(document("1.1", "")),
              R"(AgentUuidConfiguration: no element "Uuids"; expected exactly one)");
    EXPECT_EQ(refusal(document("1.1", "<Uuids><Uuids/></Uuids>")),
              R"(AgentUuidConfiguration: more than one element "Uuids"; expected exactly one)");
    EXPECT_EQ(refusal(document("1.0", "<Uuids/>")),
              R"(AgentUuidConfiguration: no element "Uuid"; expected exactly one)");
    EXPECT_EQ(refusal(document("1.0", "<Uuid>a</Uuid><Uuid>b</Uuid>")),
              R"(AgentUuidConfiguration: more than one element "Uuid"; expected exactly one)");
    EXPECT_EQ(refusal("<AgentConfiguration version=\"1.1\"><Uuids/></AgentConfiguration>"),
              R"(the root element is "AgentConfiguration"; expected "AgentUuidConfiguration")");
    EXPECT_EQ(refusal("").rfind("not an XML document: ", 0), 0U);
}

TEST_F(GuidTest, PairCopiesAndTakesNullForEmpty) {
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
