#include "methods/AgentRMI_ActionParameters.h"
#include "methods/AgentRMI_MethodFactory.h"
#include "methods/AgentRMI_MethodRunnable.h"
#include "rmi/RMI_Method.h"
#include "xml/Xerces_Document.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace {

/// Work that does as it is told at one of its steps, and writes down how far it came.
class Steps : public AgentRMI_MethodRunnable {
public:
    enum Behaviour { Succeeds, Fails, Throws, Explains };

    Steps() : AgentRMI_MethodRunnable("Steps") {}
    bool getAuditParamsFromMethod(RMI_Method*) override { return step('a'); }
    bool init() override { return step('i'); }
    bool parseElements(const xercesc::DOMElement&) override { return step('p'); }
    bool invoke() override { return step('w'); }
    bool serializeResult(xercesc::DOMDocument*, xercesc::DOMElement*) override { return step('s'); }

    static inline std::string done;
    static inline char at;
    static inline Behaviour behaviour;

private:
    static bool step(char name) {
        done += name;
        if (name == at && behaviour == Throws)
            throw std::runtime_error("inside");
        if (name == at && behaviour == Explains)
            throw RMI_MethodException(RMI_MethodException::TooFewParameters, "why");
        return name != at || behaviour == Succeeds;
    }
};

TEST(RunInline, EndsAtTheFirstStepThatFails) {
    const std::unique_ptr<RMI_Method> method = AgentRMI_MethodFactory().createMethod("Ping", "");
    const Xerces_DocumentPtr document = Xerces_CreateDocument("Method");
    const auto outcome = [&](char at, Steps::Behaviour behaviour) {
        Steps::done.clear();
        Steps::at = at;
        Steps::behaviour = behaviour;
        try {
            AgentRMI_RunInline<Steps>(*method, Xerces_Root(*document), document.get(),
                                      Xerces_Root(*document));
            return Steps::done;
        } catch (const RMI_MethodException& failure) {
            return Steps::done + std::to_string(failure.getExceptionCode()) + failure.getReason();
        }
    };
    const std::string order = "aipws";
    EXPECT_EQ(outcome('a', Steps::Succeeds), order);
    for (std::size_t last = 0; last < order.size(); ++last) {
        const std::string done = order.substr(0, last + 1);
        EXPECT_EQ(outcome(order[last], Steps::Fails), done + "7");
        EXPECT_EQ(outcome(order[last], Steps::Throws), done + "7");
        EXPECT_EQ(outcome(order[last], Steps::Explains), done + "10why");
    }
}

TEST(ActionParameters, AreReadAsTheMethodKnowsThem) {
    const auto read = [](const std::string& inside, AgentRMI_ActionMethod which) -> std::string {
        const Xerces_DocumentPtr document = Xerces_Parse("<Method>" + inside + "</Method>", "test");
        const auto action = AgentRMI_ReadActionParameters(*Xerces_Root(*document), which);
        if (!action)
            return "refused";
        std::string text = action->user.value_or("-") + "|" +
                           (action->password ? action->password->asString() : "-") + "|" +
                           action->actionId.value_or("-") + "|" + action->templateName.value_or("-") + "|" +
                           action->script + "|";
        for (const std::string& member : action->groupMembers)
            text += member + ",";
        return text;
    };
    const auto parameter = [](const std::string& name, const std::string& inside) {
        return "<MethodParameter name='" + name + "'>" + inside + "</MethodParameter>";
    };
    const std::string members = parameter("groupmember", "/a") + parameter("other", "") + "<groupmember/>";
    const struct {
        std::string inside;
        const char* submit;
        const char* save;
    } cases[] = {
        {"", "-|-|-|-||", "-|-|-|-||"},
        {"text<Other name='actionid'/>" + parameter("unheard", ""), "-|-|-|-||", "-|-|-|-||"},
        {parameter("sysuserid", "<![CDATA[]]>") + parameter("syspwd", "<!--p--> "), "|p|-|-||", "|p|-|-||"},
        {parameter("actionid", "1") + parameter("actionid", "2"), "-|-|1|-||", "-|-|1|-||"},
        {parameter("actionid", "1") + parameter("actionid", ""), "refused", "refused"},
        {parameter("actionscript", "a") + parameter("actionscript", "b"), "-|-|-|-|b|", "-|-|-|-|b|"},
        {parameter("templatename", "t"), "-|-|-|-||", "-|-|-|t||"},
        {parameter("templatename", ""), "-|-|-|-||", "refused"},
        {parameter("group", members) + parameter("group", members), "-|-|-|-||/a,/a,", "-|-|-|-||"},
        {parameter("group", parameter("groupmember", "")), "refused", "-|-|-|-||"},
    };
    for (const auto& [inside, submit, save] : cases) {
        EXPECT_EQ(read(inside, AgentRMI_ActionMethod::SubmitAction), submit) << inside;
        EXPECT_EQ(read(inside, AgentRMI_ActionMethod::SaveAction), save) << inside;
    }
}

} // namespace
