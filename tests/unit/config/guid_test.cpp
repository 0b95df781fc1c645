#include "config/AgentConfig_Guid.h"
#include "config/Config_Testing.h"

namespace {

std::string identities(const std::string& version, const std::string& content) {
    return "<AgentUuidConfiguration version=\"" + version + "\">" + content + "</AgentUuidConfiguration>";
}

const std::string Empty = identities("1.1", "<Uuids/>");

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
