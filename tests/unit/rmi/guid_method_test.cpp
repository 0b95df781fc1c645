#include "base/Failing_Memory.h"
#include "rmi/AgentRMI_GuidMethod.h"
#include "rmi/AgentRMI_Identities.h"
#include "xml/Xerces_Document.h"

#include <string>

namespace {

class IdleMethod : public AgentRMI_GuidMethod {
public:
    using AgentRMI_GuidMethod::AgentRMI_GuidMethod;
    void invoke(xercesc::DOMElement*, xercesc::DOMDocument*, xercesc::DOMElement*) override {}
};

constexpr AgentRMI_MethodRules strict{"Strict", AgentRMI_Identity::Required, AgentRMI_Protocols::SSLOnly,
                                      AgentRMI_UserAuthentication::Yes};
constexpr AgentRMI_MethodRules lax{"Lax", AgentRMI_Identity::NotNeeded, AgentRMI_Protocols::PlainAndSSL,
                                   AgentRMI_UserAuthentication::No};

/// "refused", or the identity that the reply would tell.
std::string judged(const AgentRMI_MethodRules& rules, const char* guid, const char* host = "") {
    IdleMethod method(rules, guid);
    method.setHostTarget(host);
    const Xerces_DocumentPtr reply = Xerces_CreateDocument("Response");
    if (!method.validateGuid(Xerces_Root(*reply)))
        return "refused";
    return Xerces_GetAttribute(*Xerces_Root(*reply), "uuid");
}

using GuidMethod = WithIdentities;

TEST_F(GuidMethod, LeavesRoomForItsOwnIdentityHoweverLongTheOthersAre) {
    const std::string tooLong(65537, 'x');
    EXPECT_EQ(judged(strict, tooLong.c_str()), "refused");
    EXPECT_EQ(judged(lax, "one", tooLong.c_str()), "");
    const std::string longest(65536, '"'); // six times as long in the file
    for (int i = 0; i < 32; ++i)
        judged(lax, longest.c_str(), std::to_string(i).c_str());
    EXPECT_EQ(judged(strict, longest.c_str(), "more"), "refused");
    EXPECT_EQ(judged(strict, longest.c_str()), longest);
    EXPECT_EQ(stored(), longest);
    EXPECT_EQ(stored("30"), longest);
}

TEST_F(GuidMethod, AFailedAllocationCostsNoIdentity) {
    AgentConfig_Guid& identities = *gGuidConfig->getConfig();
    const auto startAgain = [&] {
        identities.deallocateGuidTargetHostPairs();
        identities.setGuid("own");
        return gGuidConfig->writeFile();
    };
    ASSERT_TRUE(startAgain());
    const std::string first(100, 'g');
    const std::string host(100, 'h');
    std::string told;
    const auto take = [&] {
        told = "refused";
        told = judged(lax, first.c_str(), host.c_str());
    };
    Failing_Memory::failEach(take, [&](unsigned long number, bool hasFailed) {
        EXPECT_EQ(stored(), "own") << number;
        EXPECT_TRUE(told == "refused" ? hasFailed : told == first) << number << told;
        EXPECT_TRUE(told == "refused" || stored(host) == first) << number;
        take();
        EXPECT_EQ(told, first) << number;
        EXPECT_TRUE(identities.getGuid() == "own" && identities.getGuid(host) == first) << number;
        EXPECT_EQ(identities.getNumberOfPairs(), 2U) << number;
        EXPECT_EQ(judged(lax, "more", "more"), "more") << number;
        EXPECT_TRUE(stored() == "own" && stored(host) == first) << number;
        EXPECT_TRUE(startAgain());
    });
}

} // namespace
