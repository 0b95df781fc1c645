#include "rmi/RMI_Method.h"
#include "rmi/RMI_MethodException.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <new>
#include <string>

namespace {

class PlainMethod : public RMI_Method {
public:
    using RMI_Method::RMI_Method;

    bool checkForValidGuid() override { return false; }
    bool validateGuid(xercesc::DOMElement*) override { return true; }
    bool validateUser(xercesc::DOMElement*) override { return true; }
    bool validateEncryptionProtocol(Socket_Socket::EncryptionProtocol) override { return true; }
    void invoke(xercesc::DOMElement*, xercesc::DOMDocument*, xercesc::DOMElement*) override {}
};

TEST(RmiMethod, KeepsEachTextApart) {
    struct Field {
        const char* (RMI_Method::*get)() const;
        void (RMI_Method::*set)(const char*);
    };
    const Field fields[] = {
        {&RMI_Method::getMethodName, &RMI_Method::setMethodName},
        {&RMI_Method::getGuid, &RMI_Method::setGuid},
        {&RMI_Method::getSnmpCommunity, &RMI_Method::setSnmpCommunity},
        {&RMI_Method::getServiceUid, &RMI_Method::setServiceUid},
        {&RMI_Method::getServiceGid, &RMI_Method::setServiceGid},
        {&RMI_Method::getFSType, &RMI_Method::setFSType},
        {&RMI_Method::getHostTarget, &RMI_Method::setHostTarget},
        {&RMI_Method::getUserName, &RMI_Method::setUserName},
        {&RMI_Method::getUserPassword, &RMI_Method::setUserPassword},
        {&RMI_Method::getVsamName, &RMI_Method::setVsamName},
    };
    PlainMethod method(nullptr);
    RMI_Method& base = method;
    for (const Field& field : fields)
        EXPECT_STREQ((base.*field.get)(), "");
    int number = 0;
    for (const Field& field : fields)
        (base.*field.set)(std::to_string(number++).c_str());
    number = 0;
    for (const Field& field : fields)
        EXPECT_EQ((base.*field.get)(), std::to_string(number++));
    for (const Field& field : fields) {
        (base.*field.set)(nullptr);
        EXPECT_STREQ((base.*field.get)(), "");
    }
    EXPECT_STREQ(PlainMethod("g").getGuid(), "g");
    EXPECT_FALSE(method.checkRequireUserAuthentication());
    method.setRequireUserAuthentication(true);
    EXPECT_TRUE(method.checkRequireUserAuthentication());
    EXPECT_FALSE(method.encProtoShouldVerifyPeer());
}

/// A short password lies inside the object, so it can be looked for where the object was.
TEST(RmiMethod, TakesItsPasswordAlong) {
    constexpr const char* password = "hunter2";
    alignas(PlainMethod) static unsigned char memory[sizeof(PlainMethod)];
    const auto holds = [&] {
        return ::memmem(memory, sizeof memory, password, std::strlen(password)) != nullptr;
    };
    auto* method = new (memory) PlainMethod("");
    method->setUserPassword(password);
    ASSERT_TRUE(holds());
    method->setUserPassword("x");
    EXPECT_FALSE(holds());
    method->setUserPassword(password);
    std::destroy_at(method);
    EXPECT_FALSE(holds());
}

TEST(RmiMethodException, CarriesCodeAndReason) {
    EXPECT_EQ(RMI_MethodException().getExceptionCode(), 0);
    const RMI_MethodException full(RMI_MethodException::GeneralFailure, "why");
    const RMI_MethodException copy = full; // NOLINT(performance-unnecessary-copy-initialization)
    EXPECT_EQ(copy.getExceptionCode(), 7);
    EXPECT_EQ(copy.getReason(), "why");
}

} // namespace
