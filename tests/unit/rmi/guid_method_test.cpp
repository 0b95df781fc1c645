#include "rmi/AgentRMI_GuidMethod.h"
#include "rmi/AgentRMI_Identities.h"
#include "xml/Xerces_Document.h"

#include <filesystem>
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

TEST_F(GuidMethod, AdoptsNothingThatItCannotStore) {
    std::filesystem::remove_all(folder);
    EXPECT_EQ(judged(strict, "one"), "refused");
    EXPECT_EQ(judged(lax, "one", "host"), "refused");
    EXPECT_EQ(judged(lax, ""), "");
    std::filesystem::create_directory(folder);
    EXPECT_EQ(judged(strict, "two"), "two");
    EXPECT_EQ(stored(), "two");
    EXPECT_EQ(stored("host"), "");
}

TEST_F(GuidMethod, TakesNoMoreIdentitiesThanCanBeReadAgain) {
    const std::string tooLong(65537, 'x');
    EXPECT_EQ(judged(lax, tooLong.c_str()), "refused");
    EXPECT_EQ(judged(lax, "one", tooLong.c_str()), "refused");
    for (int i = 0; i < 999; ++i)
        gGuidConfig->getConfig()->setGuid("some", "host" + std::to_string(i));
    EXPECT_EQ(judged(lax, "last", "last"), "last");
    EXPECT_EQ(judged(lax, "more", "more"), "refused");
    EXPECT_EQ(stored("more"), "");
    EXPECT_EQ(stored("host7"), "some");
}

} // namespace
