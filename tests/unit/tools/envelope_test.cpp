// Requests as XML.

#include "qdvctl/Ctl_Envelope.h"
#include "qdvctl/Ctl_Layers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace {

using testing::HasSubstr;
using testing::Not;

class Envelope : public testing::Test {
protected:
    Ctl_Layers layers{Ctl_Layers::XmlOnly};
};

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

    const Ctl_Request read = Ctl_ParseCall(text);
    EXPECT_EQ(read.method, request.method);
    EXPECT_EQ(read.userName, request.userName);
    ASSERT_GE(read.parameters.size(), 4U);
    EXPECT_EQ(read.parameters[0].ownText(), "a=b <c>");
}

} // namespace
