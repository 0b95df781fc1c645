// Requests and replies as XML, and what of them is refused.

#include "qdvctl/Ctl_AgentOptions.h"
#include "qdvctl/Ctl_Envelope.h"
#include "qdvctl/Ctl_Failure.h"
#include "qdvctl/Ctl_Layers.h"
#include "qdvctl/Ctl_ServeHandler.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>

namespace {

using testing::HasSubstr;
using testing::Not;

/// What an operation is refused with: status and message; status 0 if it is not refused.
struct Refusal {
    int status = 0;
    std::string message;
};

Refusal refusalOf(const std::function<void()>& operation) {
    try {
        operation();
    } catch (const Ctl_Failure& failure) {
        return {failure.status(), failure.what()};
    }
    return {};
}

class Envelope : public testing::Test {
protected:
    Ctl_Layers layers{Ctl_Layers::XmlOnly};
};

std::string wrapped(const std::string& content) {
    return "<NorvalithRMI version=\"1.2\" schema=\"2.1\">" + content + "</NorvalithRMI>";
}

TEST_F(Envelope, BuildsARequestThatReadsBackAsTheSame) {
    Ctl_Request request;
    request.method = "Save<Action>\"&";
    request.uuid = "id";
    request.userName = "jo\xFF"; // bytes of any kind survive
    request.userPassword.assign("p&<w");
    request.parameters = {Ctl_ParseParameter("Name=a=b <c>"), Ctl_ParseParameter("Empty=")};
    const std::vector<Ctl_Node> nested = Ctl_ParseParameters(
        "\xEF\xBB\xBF<?xml version=\"1.0\"?>\n<A x='1'>t<B/>u</A><C><![CDATA[<]]></C>", "file");
    request.parameters.insert(request.parameters.end(), nested.begin(), nested.end());

    const std::string text = Ctl_BuildRequest(request).asString();
    EXPECT_THAT(text, HasSubstr("<NorvalithRMI schema=\"2.1\" version=\"1.2\">"));
    EXPECT_THAT(text, HasSubstr(" userPassword=\"p&amp;&lt;w\""));
    EXPECT_THAT(text, Not(HasSubstr("hostTarget"))) << "what is empty is left out";
    EXPECT_THAT(text, HasSubstr("<A x=\"1\">t<B/>u</A><C>&lt;</C>"));

    for (const std::string& body : {text, "CommandBody=" + text, "x=1&CommandBody=" + text}) {
        const Ctl_Request read = Ctl_ParseCall(body);
        EXPECT_EQ(read.method, request.method);
        EXPECT_EQ(read.uuid, request.uuid);
        EXPECT_EQ(read.userName, request.userName);
        ASSERT_GE(read.parameters.size(), 2U);
        EXPECT_EQ(read.parameters[0].name, "Name");
        EXPECT_EQ(read.parameters[0].ownText(), "a=b <c>");
        EXPECT_EQ(read.parameters[1].ownText(), "");
    }
}

TEST_F(Envelope, RefusesParametersThatAreNone) {
    for (const char* argument : {"", "Name", "=x", "1a=x", "a b=x", "a<b=x", "\xC3\xA4=x"}) {
        const Refusal refusal = refusalOf([&] { Ctl_ParseParameter(argument); });
        EXPECT_EQ(refusal.status, Ctl_WrongUsage) << argument;
        EXPECT_THAT(refusal.message, HasSubstr("Name=Text is expected"));
    }
    for (const char* body : {"<a>", "<a/></Method><b/>", "</Method><Method>", "<!DOCTYPE a><a/>", "<a b/>"}) {
        const Refusal refusal = refusalOf([&] { Ctl_ParseParameters(body, "the file"); });
        EXPECT_EQ(refusal.status, Ctl_WrongUsage) << body;
        EXPECT_TRUE(refusal.message.starts_with("the file: not a sequence of XML elements: "))
            << refusal.message;
    }
}

TEST_F(Envelope, TakesTheResponseOutOfAReply) {
    const Ctl_Node response = Ctl_ParseReply(wrapped(
        "<Response response='success' uuid='u'><Agent build='421'/></Response><Response response='no'/>"));
    ASSERT_NE(response.attribute("response"), nullptr);
    EXPECT_EQ(*response.attribute("response"), "success");
    EXPECT_EQ(response.attribute("reason"), nullptr);
    ASSERT_EQ(response.children.size(), 1U);
    EXPECT_EQ(response.children[0].name, "Agent");
}

TEST_F(Envelope, SaysWhatIsWrongWithAReplyOrACall) {
    const struct {
        std::string body;
        const char* complaint;
    } cases[] = {
        {"", "not XML"},
        {"<NorvalithRMI", "not XML"},
        {"<!DOCTYPE x><NorvalithRMI/>", "not XML"},
        {"<Other/>", "the root element is not NorvalithRMI"},
        {"<NorvalithRMI schema='2.1'/>", "attribute version is \"\", not \"1.2\""},
        {"<NorvalithRMI version='1.2' schema='9'/>", "attribute schema is \"9\", not \"2.1\""},
        {wrapped(""), "it has no element Re"},
    };
    for (const auto& [body, complaint] : cases) {
        const std::string text = body;
        for (const auto& parse : {std::function<void()>([&] { Ctl_ParseReply(text); }),
                                  std::function<void()>([&] { Ctl_ParseCall(text); })}) {
            const Refusal refusal = refusalOf(parse);
            EXPECT_EQ(refusal.status, Ctl_Unanswered) << text;
            EXPECT_THAT(refusal.message, HasSubstr(complaint));
        }
    }
    EXPECT_THAT(refusalOf([] { Ctl_ParseCall(wrapped("<Request/>")); }).message,
                HasSubstr("no element Method"));
    EXPECT_THAT(refusalOf([] { Ctl_ParseCall(wrapped("<Request><Method/></Request>")); }).message,
                HasSubstr("its method has no name"));
}

TEST_F(Envelope, AnswersWhatTheAgentAsksOfItsServer) {
    const auto answerTo = [](const std::string& method) {
        return Ctl_ParseReply(Ctl_BuildReply(method, Ctl_ResultOf(method, "true")));
    };
    const Ctl_Node state = answerTo("GetSSLState");
    EXPECT_EQ(*state.attribute("response"), "success");
    ASSERT_EQ(state.children.size(), 1U);
    EXPECT_EQ(state.children[0].name, "Server");
    EXPECT_EQ(*state.children[0].attribute("sslState"), "true");
    const Ctl_Node ping = answerTo("Ping");
    ASSERT_EQ(ping.children.size(), 1U);
    EXPECT_EQ(ping.children[0].name, "Server");
    EXPECT_TRUE(answerTo("UpdateAction").children.empty());
}

TEST_F(Envelope, DescribesACallForAPersonAndAsJson) {
    const Ctl_Request call = Ctl_ParseCall(wrapped("<Request uuid='u&#xEF1B;' hostTarget='h'>"
                                                   "<Method name='UpdateAction' nameSpace='p'>"
                                                   "<Result code='0'/></Method></Request>"));
    EXPECT_EQ(Ctl_DescribeCall(call, 86400, "TLS", "/BrindlexServer", false),
              "1970-01-02 00:00:00 TLS /BrindlexServer UpdateAction uuid=u\\x1b hostTarget=h\n"
              "  Method\n"
              "    nameSpace  p\n"
              "    Result\n"
              "      code  0\n");
    EXPECT_EQ(
        Ctl_DescribeCall(call, 86400, "TLS", "/x", true),
        R"({"time":"1970-01-02 00:00:00","protocol":"TLS","uri":"/x","method":"UpdateAction",)"
        R"("uuid":"u\u001b","hostTarget":"h","elements":[{"element":"Method","attributes":{"nameSpace":"p"},)"
        R"("elements":[{"element":"Result","attributes":{"code":"0"}}]}]})"
        "\n");
}

TEST(Address, IsAHostAndAPort) {
    EXPECT_EQ(Ctl_ParseAddress("host").port, 8372);
    EXPECT_EQ(Ctl_ParseAddress("10.0.0.1:1").host, "10.0.0.1");
    EXPECT_EQ(Ctl_ParseAddress("h:65535").port, 65535);
    for (const char* text :
         {"", ":1", "h:", "h:0", "h:65536", "h:1x", "h:-1", "h: 1", "::1", "[::1]:5", "a:b:1"})
        EXPECT_EQ(refusalOf([&] { Ctl_ParseAddress(text); }).status, Ctl_WrongUsage) << text;
}

} // namespace
