#include "rmi/AgentRMI_GuidMethod.h"
#include "rmi/AgentRMI_Identities.h"
#include "xml/Xerces_Document.h"

#include <atomic>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

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

TEST_F(GuidMethod, FollowsItsRow) {
    IdleMethod one(strict, "g");
    EXPECT_STREQ(one.getMethodName(), "Strict");
    EXPECT_STREQ(one.getGuid(), "g");
    EXPECT_TRUE(one.checkForValidGuid());
    EXPECT_TRUE(one.checkRequireUserAuthentication());
    EXPECT_TRUE(one.validateUser(nullptr));
    EXPECT_FALSE(one.validateEncryptionProtocol(Socket_Socket::ENCRYPTION_NONE));
    EXPECT_TRUE(one.validateEncryptionProtocol(Socket_Socket::ENCRYPTION_SSL));
    IdleMethod other(lax, nullptr);
    EXPECT_FALSE(other.checkForValidGuid());
    EXPECT_FALSE(other.checkRequireUserAuthentication());
    EXPECT_TRUE(other.validateEncryptionProtocol(Socket_Socket::ENCRYPTION_NONE));
    EXPECT_TRUE(other.validateEncryptionProtocol(Socket_Socket::ENCRYPTION_SSL));
    EXPECT_FALSE(other.validateEncryptionProtocol(static_cast<Socket_Socket::EncryptionProtocol>(2)));
}

TEST_F(GuidMethod, TheFirstIdentityStaysTheAgentsOwn) {
    EXPECT_EQ(judged(strict, ""), "refused");
    EXPECT_EQ(judged(lax, ""), "");
    EXPECT_EQ(stored(), "none");

    EXPECT_EQ(judged(strict, "one"), "one");
    EXPECT_EQ(stored(), "one");
    EXPECT_EQ(judged(strict, "one"), "one");
    EXPECT_EQ(judged(strict, "two"), "refused");
    EXPECT_EQ(judged(strict, "ONE"), "refused");
    EXPECT_EQ(judged(strict, ""), "refused");
    // Without the requirement nothing is refused, and nothing is overwritten.
    EXPECT_EQ(judged(lax, "two"), "one");
    EXPECT_EQ(judged(lax, ""), "one");
    EXPECT_EQ(stored(), "one");
}

TEST_F(GuidMethod, EachHostHasItsOwn) {
    EXPECT_EQ(judged(lax, "one"), "one");
    EXPECT_EQ(judged(strict, "two", "host"), "two");
    EXPECT_EQ(judged(strict, "one", "host"), "refused");
    EXPECT_EQ(judged(strict, "two"), "refused");
    EXPECT_EQ(judged(strict, "", "other"), "refused");
    EXPECT_EQ(stored(), "one");
    EXPECT_EQ(stored("host"), "two");
    EXPECT_EQ(stored("other"), "");
}

TEST_F(GuidMethod, KeepsAnyIdentityThatXmlCanCarry) {
    const std::string odd = "<\"&'\t\n\xc3\xa9\xff\x01>";
    EXPECT_EQ(judged(strict, odd.c_str(), odd.c_str()), odd);
    EXPECT_EQ(stored(odd), odd);
}

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

TEST_F(GuidMethod, OfManyFirstRequestsOneDecides) {
    constexpr int count = 8;
    std::atomic<int> waiting{count};
    std::vector<std::string> results(count);
    std::vector<std::thread> threads;
    threads.reserve(count);
    for (int i = 0; i < count; ++i) {
        threads.emplace_back([&, i] {
            --waiting;
            while (waiting != 0)
                std::this_thread::yield();
            results[static_cast<std::size_t>(i)] = judged(strict, std::to_string(i).c_str());
        });
    }
    for (std::thread& thread : threads)
        thread.join();

    const std::string winner = stored();
    for (int i = 0; i < count; ++i) {
        const std::string own = std::to_string(i);
        EXPECT_EQ(results[static_cast<std::size_t>(i)], own == winner ? winner : "refused");
    }
    EXPECT_EQ(judged(lax, ""), winner);
}

} // namespace
