#include "model/Audit_Log.h"
#include "rmi/RMI_Exchange.h"
#include "rmi/RMI_Method.h"
#include "rmi/RMI_MethodException.h"
#include "rmi/RMI_RequestHandler.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

using namespace std::string_literals;

namespace {

/// What a scripted method does, and what it saw.
struct Script {
    std::string refuses; ///< the step at which the request is refused
    std::function<void(xercesc::DOMElement& response)> work;
    std::vector<std::string> seen;

    bool take(const std::string& step, const std::string& detail) {
        seen.push_back(step + " " + detail);
        return step != refuses;
    }
};

class ScriptedMethod : public RMI_Method {
public:
    ScriptedMethod(Script& script, const char* guid) : RMI_Method(guid), script_(script) {}
    ~ScriptedMethod() override { script_.seen.emplace_back("gone"); }

    bool checkForValidGuid() override { return true; }
    bool validateEncryptionProtocol(Socket_Socket::EncryptionProtocol protocol) override {
        return script_.take("protocol", std::to_string(protocol));
    }
    bool validateGuid(xercesc::DOMElement* response) override {
        Xerces_SetAttribute(*response, "uuid", "own");
        return script_.take("guid", std::string(getGuid()) + " of " + getHostTarget() + particulars());
    }
    bool validateUser(xercesc::DOMElement*) override {
        const std::string user = std::string(getUserName()) + " " + getUserPassword() + " " + getVsamName();
        return script_.take("user", user + particulars());
    }
    void invoke(xercesc::DOMElement*, xercesc::DOMDocument*, xercesc::DOMElement* response) override {
        script_.take("invoke", particulars());
        if (script_.work)
            script_.work(*response);
    }

private:
    std::string particulars() const {
        return "[" + std::to_string(getSnmpPort()) + getSnmpCommunity() + getServiceUid() + getServiceGid() +
               getFSType() + "]";
    }

    Script& script_;
};

class ScriptedFactory : public RMI_MethodFactory {
public:
    explicit ScriptedFactory(Script& script) : script_(script) {}

    std::unique_ptr<RMI_Method> createMethod(const char* name, const char* guid) override {
        return script_.take("create", name) ? std::make_unique<ScriptedMethod>(script_, guid) : nullptr;
    }

private:
    Script& script_;
};

class RequestHandler : public testing::Test {
protected:
    Reply processBody(const std::string& body,
                      Socket_Socket::EncryptionProtocol protocol = Socket_Socket::ENCRYPTION_NONE) {
        ScriptedFactory factory(script);
        return process(&factory, body, protocol, &peer);
    }

    /// The outcome of a method that does this.
    Reply invoking(std::function<void(xercesc::DOMElement& response)> work) {
        script.work = std::move(work);
        return processBody(call("", "<Method name='M'/>"));
    }

    Script script;
    ScriptedPeer peer;
};

const std::string good = call("uuid='u'", "<Method name='M'/>");

TEST_F(RequestHandler, AServedCallGoesThroughTheChecksInOrder) {
    const Audit_Log log;
    gDebugPrintf.setEnabled(true);
    const Reply reply =
        processBody(call("uuid='u' hostTarget='h' snmpCommunity='c' snmpPort=' 162x' serviceUid='1' "
                         "serviceGid='2' fsType='f' userName='n' userPassword='p' vsamName='v'",
                         "<Method name='M'/>"),
                    Socket_Socket::ENCRYPTION_SSL);
    gDebugPrintf.setEnabled(false);
    EXPECT_TRUE(reply.delivered);
    EXPECT_EQ(responseOf(reply.text),
              R"(<Response name="M" reason="success" response="success" type="method" uuid="own"/>)");
    EXPECT_THAT(script.seen, testing::ElementsAre("create M", "protocol 1", "guid u of h[0]", "user n p v[0]",
                                                  "invoke [162c12f]", "gone"));
    EXPECT_EQ(log.messages(), "RMI: is request\nRMI: is method\n");
}

TEST_F(RequestHandler, ARefusalEndsTheWay) {
    const struct {
        const char* step;
        std::size_t events;
        const char* response;
    } cases[] = {
        {"create", 1, R"( reason="no methods implemented" response="unknown method" type="method"/>)"},
        {"protocol", 3, R"( reason="invalid encryption protocol" response="error" type="method"/>)"},
        {"peer", 3, R"( reason="failed peer verification" response="error" type="method"/>)"},
        {"guid", 4, R"( reason="invalid uuid" response="error" type="method" uuid="own"/>)"},
        {"user", 5, R"( response="error" type="method" uuid="own"/>)"},
    };
    for (const auto& [step, events, response] : cases) {
        script = {step, {}, {}};
        peer.accepts = script.refuses != "peer";
        const Reply reply = processBody(good);
        EXPECT_TRUE(reply.delivered);
        EXPECT_EQ(responseOf(reply.text), std::string(R"(<Response name="M")") + response);
        EXPECT_EQ(script.seen.size(), events) << step;
    }
}

TEST_F(RequestHandler, WhatAMethodThrowsDecidesTheOutcome) {
    using E = RMI_MethodException;
    /// By whether the exception has a reason, and whether the method has set one itself.
    const struct {
        int code;
        const char* given;
        const char* own;
        const char* none;
    } cases[] = {
        {0, "error|why", "error|", "error|"},
        {6, "success|success", "success|success", "success|success"},
        {7, "error|why", "error|mine", "error|"},
        {8, "no parameters|why", "no parameters|", "no parameters|"},
        {9, "invalid parameters|why", "invalid parameters|", "invalid parameters|"},
        {10, "too few parameters|why", "too few parameters|", "too few parameters|"},
        {11, "too many parameters|why", "too many parameters|", "too many parameters|"},
        {12, "error|why", "error|", "error|"},
    };
    for (const auto& [number, given, own, none] : cases) {
        const auto code = static_cast<E::ExceptionCode>(number);
        const auto explain = [](xercesc::DOMElement& response) {
            Xerces_SetAttribute(response, "reason", "mine");
        };
        EXPECT_EQ(invoking([&](auto& response) { explain(response), throw E(code, "why"); }).outcome(),
                  given);
        EXPECT_EQ(invoking([&](auto& response) { explain(response), throw E(code); }).outcome(), own);
        const Reply bare = invoking([&](auto&) { throw E(code); });
        EXPECT_TRUE(bare.delivered);
        EXPECT_EQ(bare.outcome(), none);
        EXPECT_THAT(bare.text, testing::HasSubstr(" reason=\"")) << "there even if it is empty";
    }
    EXPECT_EQ(responseOf(invoking([](auto&) { throw std::runtime_error("secret"); }).text),
              R"(<Response name="M" response="error" type="method" uuid="own"/>)");
    const auto boast = [](auto& response) { Xerces_SetAttribute(response, "response", "great"); };
    EXPECT_EQ(invoking(boast).outcome(), "success|success");
}

TEST_F(RequestHandler, CredentialsOfTheRequestReplaceThoseOfHttp) {
    peer.user = "http";
    peer.password = "secret";
    const std::pair<const char*, const char*> cases[] = {
        {"", "user http secret [0]"},
        {"userName='' userPassword=''", "user http secret [0]"},
        {"userName='xml'", "user xml secret [0]"},
        {"userPassword='other'", "user http other [0]"},
    };
    for (const auto& [attributes, seen] : cases) {
        script.seen.clear();
        processBody(call(attributes, "<Method name='M'/>"));
        EXPECT_EQ(script.seen[3], seen);
    }
}

TEST_F(RequestHandler, NothingEndsATextEarly) {
    script.refuses = "create";
    // A byte that no text can hold has its place in the private range, on both ways; a zero byte has none.
    EXPECT_EQ(processBody(call("", "<Method name='&#xEFFF;&#xEF01;'/>")).attribute("name"), "\xff\x01");
    EXPECT_EQ(script.seen.back(), "create \xff\x01");
    processBody(call("", "<Method name='M&#xEF00;x'/>"));
    EXPECT_EQ(script.seen.back(), "create M\xee\xbc\x80x");
    // In the body it ends what is XML, but not what is looked at for the form's field.
    EXPECT_EQ(processBody("\0CommandBody="s + good).outcome(), "unknown method|no methods implemented");
    EXPECT_EQ(processBody("\0"s + good).outcome(), "parseerror|");
}

TEST_F(RequestHandler, WithoutInputsThereIsThePlainFailure) {
    RMI_RequestHandler handler;
    EXPECT_FALSE(handler.registerMethodFactory(nullptr));
    const auto plain = [&](RMI_PeerVerifyHandler* p, const std::string* b) {
        char* text = nullptr;
        unsigned length = 0;
        EXPECT_FALSE(handler.processRequest(Socket_Socket::ENCRYPTION_NONE, p, b, text, length));
        const std::unique_ptr<char[]> owned(text);
        EXPECT_STREQ(text, "RMI: failed to process");
        EXPECT_EQ(length, 22U);
    };
    plain(nullptr, &good);
    plain(&peer, nullptr);
    EXPECT_EQ(process(nullptr, good, Socket_Socket::ENCRYPTION_NONE, &peer).outcome(),
              "unknown method|no methods implemented");
}

} // namespace
