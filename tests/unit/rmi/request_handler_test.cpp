#include "rmi/RMI_Exchange.h"
#include "rmi/RMI_Method.h"
#include "rmi/RMI_MethodException.h"
#include "rmi/RMI_RequestHandler.h"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

using namespace std::string_literals;

namespace {

/// What the scripted method answers, and what it saw.
struct Script {
    bool known = true;
    bool protocolAllowed = true;
    bool guidValid = true;
    bool userValid = true;
    std::function<void(xercesc::DOMElement&, xercesc::DOMElement&)> work;

    std::vector<std::string> seen;
};

class ScriptedMethod : public RMI_Method {
public:
    ScriptedMethod(Script& script, const char* guid) : RMI_Method(guid), script_(script) {}
    ~ScriptedMethod() override { note("gone"); }

    bool checkForValidGuid() override { return true; }
    bool validateEncryptionProtocol(Socket_Socket::EncryptionProtocol protocol) override {
        note("protocol " + std::to_string(protocol));
        return script_.protocolAllowed;
    }
    bool validateGuid(xercesc::DOMElement* response) override {
        note("guid " + std::string(getGuid()) + " of " + getHostTarget() + particulars());
        Xerces_SetAttribute(*response, "uuid", "own");
        return script_.guidValid;
    }
    bool validateUser(xercesc::DOMElement*) override {
        note("user " + std::string(getUserName()) + " " + getUserPassword() + " " + getVsamName() +
             particulars());
        return script_.userValid;
    }
    void invoke(xercesc::DOMElement* method, xercesc::DOMDocument*, xercesc::DOMElement* response) override {
        note("invoke" + particulars());
        if (script_.work)
            script_.work(*method, *response);
    }

private:
    std::string particulars() const {
        return " [" + std::to_string(getSnmpPort()) + getSnmpCommunity() + getServiceUid() + getServiceGid() +
               getFSType() + "]";
    }
    void note(const std::string& text) { script_.seen.push_back(text); }

    Script& script_;
};

class ScriptedFactory : public RMI_MethodFactory {
public:
    explicit ScriptedFactory(Script& script) : script_(script) {}

    std::unique_ptr<RMI_Method> createMethod(const char* name, const char* guid) override {
        script_.seen.push_back("create " + std::string(name));
        return script_.known ? std::make_unique<ScriptedMethod>(script_, guid) : nullptr;
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
    Reply invoking(std::function<void(xercesc::DOMElement&, xercesc::DOMElement&)> work) {
        script.work = std::move(work);
        return processBody(call("", "<Method name='M'/>"));
    }

    Script script;
    ScriptedPeer peer;
};

const std::string good = call("uuid='u'", "<Method name='M'/>");
const std::string protocolSpoken = R"(<RMI name="NorvalithRMI" schema="2.1" version="1.2"/></Response>)";

TEST_F(RequestHandler, EnvelopeFailuresTellWhatIsSpokenAndAreNotDelivered) {
    struct Case {
        std::string body;
        std::string word;
    };
    const Case cases[] = {
        {"", "parseerror"},
        {"<NorvalithRMI", "parseerror"},
        {"CommandBody=", "parseerror"},
        {"<!DOCTYPE r>" + good, "parseerror"},
        {"<Other version='1.2' schema='2.1'/>", "unknown rmi"},
        {"<norvalithrmi version='1.2' schema='2.1'/>", "unknown rmi"},
        {"<NorvalithRMI/>", "version not supported"},
        {"<NorvalithRMI version='' schema='2.1'/>", "version not supported"},
        {"<NorvalithRMI version='1.3' schema='2.1'/>", "version not supported"},
        {"<NorvalithRMI version='1.2'/>", "schema not supported"},
        {"<NorvalithRMI version='1.2' schema='2.10'/>", "schema not supported"},
    };
    for (const Case& c : cases) {
        const Reply reply = processBody(c.body);
        EXPECT_FALSE(reply.delivered) << c.body;
        EXPECT_EQ(responseOf(reply.text),
                  "<Response response=\"" + c.word + "\" type=\"rmi\">" + protocolSpoken)
            << c.body;
    }
    EXPECT_TRUE(script.seen.empty());
}

TEST_F(RequestHandler, MissingPartsAreToldInOrder) {
    struct Case {
        std::string inside;
        std::string response;
    };
    const Case cases[] = {
        {"", R"(<Response response="not a request" type="request"/>)"},
        {"<Method name='M'/>", R"(<Response response="not a request" type="request"/>)"},
        {"<Request/>", R"(<Response reason="missing method element" response="no method" type="method"/>)"},
        {"<Request/><Request><Method name='M'/></Request>",
         R"(<Response reason="missing method element" response="no method" type="method"/>)"},
        {"<Request><Method/></Request>",
         R"(<Response reason="missing method name in method element" response="no method name" type="method"/>)"},
        {"<Request><Method name=''/><Method name='M'/></Request>",
         R"(<Response reason="missing method name in method element" response="no method name" type="method"/>)"},
    };
    for (const Case& c : cases) {
        const Reply reply = processBody(envelope(c.inside));
        EXPECT_TRUE(reply.delivered) << c.inside;
        EXPECT_EQ(responseOf(reply.text), c.response) << c.inside;
    }
    EXPECT_TRUE(script.seen.empty());
}

TEST_F(RequestHandler, AServedCallGoesThroughTheChecksInOrder) {
    const Reply reply =
        processBody(call("uuid='u' hostTarget='h' snmpCommunity='c' snmpPort='161' serviceUid='1' "
                         "serviceGid='2' fsType='f' userName='n' userPassword='p' vsamName='v'",
                         "<Method name='M'/>"),
                    Socket_Socket::ENCRYPTION_SSL);
    EXPECT_TRUE(reply.delivered);
    EXPECT_EQ(responseOf(reply.text),
              R"(<Response name="M" reason="success" response="success" type="method" uuid="own"/>)");
    EXPECT_EQ(script.seen, (std::vector<std::string>{"create M", "protocol 1", "guid u of h [0]",
                                                     "user n p v [0]", "invoke [161c12f]", "gone"}));
}

TEST_F(RequestHandler, ARefusalEndsTheWay) {
    struct Case {
        const char* last;
        std::string response;
        std::function<void(Script&, ScriptedPeer&)> set;
    };
    const Case cases[] = {
        {"create M",
         R"(<Response name="M" reason="no methods implemented" response="unknown method" type="method"/>)",
         [](Script& s, ScriptedPeer&) { s.known = false; }},
        {"protocol 0",
         R"(<Response name="M" reason="invalid encryption protocol" response="error" type="method"/>)",
         [](Script& s, ScriptedPeer&) { s.protocolAllowed = false; }},
        {"protocol 0",
         R"(<Response name="M" reason="failed peer verification" response="error" type="method"/>)",
         [](Script&, ScriptedPeer& p) { p.accepts = false; }},
        {"guid u of  [0]",
         R"(<Response name="M" reason="invalid uuid" response="error" type="method" uuid="own"/>)",
         [](Script& s, ScriptedPeer&) { s.guidValid = false; }},
        {"user    [0]", R"(<Response name="M" response="error" type="method" uuid="own"/>)",
         [](Script& s, ScriptedPeer&) { s.userValid = false; }},
    };
    for (const Case& c : cases) {
        script = Script();
        peer = ScriptedPeer();
        c.set(script, peer);
        const Reply reply = processBody(good);
        EXPECT_TRUE(reply.delivered);
        EXPECT_EQ(responseOf(reply.text), c.response);
        if (script.known) {
            ASSERT_EQ(script.seen.back(), "gone");
            script.seen.pop_back();
        }
        EXPECT_EQ(script.seen.back(), c.last);
    }
}

TEST_F(RequestHandler, ExceptionsBecomeOutcomes) {
    using E = RMI_MethodException;
    struct Case {
        int code;
        std::string outcome;
    };
    const Case cases[] = {
        {0, "error|why"},
        {6, "success|success"},
        {7, "error|why"},
        {8, "no parameters|why"},
        {9, "invalid parameters|why"},
        {10, "too few parameters|why"},
        {11, "too many parameters|why"},
        {12, "error|why"},
    };
    for (const Case& c : cases) {
        const auto code = static_cast<E::ExceptionCode>(c.code);
        EXPECT_EQ(invoking([&](auto&, auto&) { throw E(code, "why"); }).outcome(), c.outcome);
        // The reason is there even if it is empty.
        const Reply bare = invoking([&](auto&, auto&) { throw E(code); });
        EXPECT_TRUE(bare.delivered);
        EXPECT_NE(bare.text.find(c.code == 6 ? "reason=\"success\"" : "reason=\"\""), std::string::npos)
            << c.code;
    }
    const Reply other = invoking([](auto&, auto&) { throw std::runtime_error("secret"); });
    EXPECT_TRUE(other.delivered);
    EXPECT_EQ(responseOf(other.text), R"(<Response name="M" response="error" type="method" uuid="own"/>)");
}

TEST_F(RequestHandler, AMethodMayExplainAGeneralFailureItself) {
    using E = RMI_MethodException;
    const auto explaining = [&](E::ExceptionCode code, const std::string& reason) {
        return invoking([code, reason](auto&, xercesc::DOMElement& response) {
                   Xerces_SetAttribute(response, "reason", "mine");
                   throw E(code, reason);
               })
            .outcome();
    };
    EXPECT_EQ(explaining(E::GeneralFailure, ""), "error|mine");
    EXPECT_EQ(explaining(E::GeneralFailure, "given"), "error|given");
    EXPECT_EQ(explaining(E::TooFewParameters, ""), "too few parameters|");
    // But not choose its words when it succeeds.
    EXPECT_EQ(invoking([](auto&, xercesc::DOMElement& response) {
                  Xerces_SetAttribute(response, "response", "great");
                  Xerces_SetAttribute(response, "reason", "mine");
              }).outcome(),
              "success|success");
}

TEST_F(RequestHandler, FindsTheXmlInTheBody) {
    const std::string bodies[] = {
        good,
        "CommandBody=" + good,
        "a=b&CommandBody=" + good,
        "<junk/>CommandBody=" + good,
        good + "\0<junk>"s,
        "<?xml version='1.0' encoding='UTF-8'?>\r\n" + good + "\r\n",
    };
    for (const std::string& body : bodies)
        EXPECT_EQ(processBody(body).outcome(), "success|success") << body;
    EXPECT_EQ(processBody("CommandBody=CommandBody=" + good).outcome(), "parseerror|");
    EXPECT_EQ(processBody("\0CommandBody="s + good).outcome(), "success|success");
    EXPECT_EQ(processBody("\0"s + good).outcome(), "parseerror|");
}

TEST_F(RequestHandler, TakesTheFirstElementsAtAnyDepth) {
    std::string seen;
    script.work = [&](xercesc::DOMElement& method, xercesc::DOMElement&) {
        seen = Xerces_GetAttribute(method, "name");
    };
    processBody(envelope("<a><b><Request uuid='deep'><c><Method name='First'/></c><Method name='Second'/>"
                         "</Request></b></a><Request uuid='flat'><Method name='Third'/></Request>"));
    EXPECT_EQ(seen, "First");
    ASSERT_GT(script.seen.size(), 3U);
    EXPECT_EQ(script.seen[2], "guid deep of  [0]");
}

TEST_F(RequestHandler, CredentialsOfTheRequestReplaceThoseOfHttp) {
    const auto userSeen = [&](const std::string& attributes) {
        script.seen.clear();
        processBody(call(attributes, "<Method name='M'/>"));
        return script.seen[3];
    };
    EXPECT_EQ(userSeen(""), "user    [0]");
    peer.user = "http";
    peer.password = "secret";
    EXPECT_EQ(userSeen(""), "user http secret  [0]");
    EXPECT_EQ(userSeen("userName='' userPassword=''"), "user http secret  [0]");
    EXPECT_EQ(userSeen("userName='xml'"), "user xml secret  [0]");
    EXPECT_EQ(userSeen("userPassword='other'"), "user http other  [0]");
}

TEST_F(RequestHandler, ReadsThePortLikeAtol) {
    const auto invokeSeen = [&](const std::string& port) {
        script.seen.clear();
        processBody(call("snmpPort='" + port + "'", "<Method name='M'/>"));
        return script.seen[4];
    };
    EXPECT_EQ(invokeSeen("0"), "invoke [0]");
    EXPECT_EQ(invokeSeen(" 162x"), "invoke [162]");
    EXPECT_EQ(invokeSeen("x"), "invoke [0]");
}

TEST_F(RequestHandler, NamesComeBackAsTheyWere) {
    script.known = false;
    const std::string name = "a\"<>&'\t\n\r\xc3\xa9\xf0\x9f\x98\x80";
    EXPECT_EQ(processBody(call("", "<Method name='a&quot;&lt;>&amp;&apos;&#9;&#10;&#13;\xc3\xa9&#x1F600;'/>"))
                  .attribute("name"),
              name);
    // A byte that no text can hold has its place in the private range, on both ways.
    EXPECT_EQ(processBody(call("", "<Method name='&#xEFFF;&#xEF01;'/>")).attribute("name"), "\xff\x01");
    EXPECT_EQ(script.seen.back(), "create \xff\x01");
    // But nothing can end a name early.
    processBody(call("", "<Method name='M&#xEF00;x'/>"));
    EXPECT_EQ(script.seen.back(), "create M\xee\xbc\x80x");
}

TEST_F(RequestHandler, WithoutInputsThereIsThePlainFailure) {
    RMI_RequestHandler handler;
    EXPECT_FALSE(handler.registerMethodFactory(nullptr));
    const std::string body = good;
    const auto plain = [&](RMI_PeerVerifyHandler* p, const std::string* b) {
        char* text = nullptr;
        unsigned length = 0;
        EXPECT_FALSE(handler.processRequest(Socket_Socket::ENCRYPTION_NONE, p, b, text, length));
        const std::unique_ptr<char[]> owned(text);
        EXPECT_STREQ(text, "RMI: failed to process");
        EXPECT_EQ(length, 22U);
    };
    plain(nullptr, &body);
    plain(&peer, nullptr);

    // An agent without methods answers all the same.
    EXPECT_EQ(process(nullptr, good, Socket_Socket::ENCRYPTION_NONE, &peer).outcome(),
              "unknown method|no methods implemented");
}

} // namespace
