#include "actions/AgentActions_ActionResult.h"
#include "xml/Xerces_Document.h"
#include "xml/Xerces_Layer.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

class Layer : public testing::Environment {
public:
    void SetUp() override { ASSERT_TRUE(Xerces_LayerInit()); }
    void TearDown() override { Xerces_LayerCleanup(); }
};

const testing::Environment* const registered = testing::AddGlobalTestEnvironment(new Layer);

/// The elements below the method as "name:type=text", with those of a list in parentheses behind it.
std::string outline(const xercesc::DOMElement& parent) {
    std::string text;
    for (const xercesc::DOMElement* element : Xerces_ChildElements(parent)) {
        EXPECT_EQ(Xerces_TagName(*element), "MethodParameter");
        const std::string below = outline(*element);
        text += Xerces_GetAttribute(*element, "name") + ":" + Xerces_GetAttribute(*element, "type");
        text += below.empty() ? "=" + Xerces_FirstText(*element).value_or("") : "(" + below + ")";
        text += ";";
    }
    return text;
}

std::string outlineOf(const AgentActions_ActionResult& result) {
    const Xerces_DocumentPtr document = Xerces_CreateDocument("Method");
    EXPECT_TRUE(result.serialize(document.get(), Xerces_Root(*document)));
    const Xerces_DocumentPtr again = Xerces_Parse(Xerces_Serialize(*document), "test");
    return again ? outline(*Xerces_Root(*again)) : "no document";
}

TEST(ActionResult, ItemsKeepTheirOrder) {
    AgentActions_ActionResult result(7, "pending");
    EXPECT_TRUE(result.addActionItem("/b", "failure", "Child exited with code: 2 <&>"));
    EXPECT_TRUE(result.addActionItem("/a", "success", "success"));
    result.setActionStatus("failure");
    result.setActionReason("some failed");
    EXPECT_EQ(outlineOf(result),
              "actionid:string=7;actionstatus:string=failure;actionreason:string=some failed;"
              "group:list("
              "groupmember:list(path:string=/b;status:string=failure;"
              "reason:string=Child exited with code: 2 <&>;);"
              "groupmember:list(path:string=/a;status:string=success;reason:string=success;););");
}

TEST(ActionResult, LargestIdAndNoItems) {
    const AgentActions_ActionResult result(std::numeric_limits<unsigned long long>::max(), "pending");
    EXPECT_EQ(outlineOf(result), "actionid:string=18446744073709551615;actionstatus:string=pending;"
                                 "actionreason:string=;group:list=;");
}

} // namespace
