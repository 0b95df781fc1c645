#include "rmi/AgentRMI_HTTPMethodCall.h"
#include "rmi/AgentRMI_Identities.h"
#include "rmi/RMI_Exchange.h"
#include "rmi/RMI_MethodCallException.h"

#include <functional>
#include <stdexcept>
#include <string>
#include <utility>

namespace {

/// A call whose exchange is written down beforehand.
class ScriptedCall : public AgentRMI_HTTPMethodCall {
public:
    ScriptedCall() : AgentRMI_HTTPMethodCall("Thing") {}

    /// 0 for success, else the code of the failure.
    int make() {
        try {
            RMI_MethodCall::invoke();
            return 0;
        } catch (const RMI_MethodCallException& failure) {
            return failure.getExceptionCode();
        }
    }

    void appendParameters(xercesc::DOMDocument*, xercesc::DOMElement* method) override {
        Xerces_AppendElement(*method, "Parameter");
        onAppend();
    }
    using AgentRMI_HTTPMethodCall::makeRequest;
    void makeRequest(const char* request, int length, std::string* answer) override {
        sent.assign(request, static_cast<std::size_t>(length));
        *answer = reply;
        onExchange();
    }
    void parseResponse(xercesc::DOMElement* response) override {
        parsed = Xerces_GetAttribute(*response, "n");
        onParse();
    }

    std::string reply = envelope("<Response response='success'/>");
    std::function<void()> onAppend = [] {};
    std::function<void()> onExchange = [] {};
    std::function<void()> onParse = [] {};
    std::string sent;
    std::string parsed = "nothing";
};

using MethodCalls = WithIdentities;

TEST_F(MethodCalls, TheFirstResponseAtAnyDepthMustBeASuccess) {
    const std::string success = "<Response n='1' response='success'/>";
    const std::string failure = "<Response n='2' response='error'/>";
    const std::pair<std::string, bool> cases[] = {
        {"<Other version='1.2' schema='2.1'>" + success + "</Other>", false},
        {envelope(""), false},
        {envelope("<response response='success'/>"), false},
        {envelope("<Response response='success '/>"), false},
        {envelope(failure + success), false},
        {envelope(success + failure), true},
        {envelope("<x>" + success + "</x>" + failure), true},
    };
    for (const auto& [reply, succeeds] : cases) {
        ScriptedCall call;
        call.reply = reply;
        EXPECT_EQ(call.make(), succeeds ? 0 : RMI_MethodCallException::CallFailed) << reply;
        EXPECT_EQ(call.parsed, succeeds ? "1" : "nothing") << reply;
    }
}

TEST_F(MethodCalls, WhateverFailsLeavesAsOneCode) {
    const std::function<void()> failures[] = {
        [] { throw RMI_MethodCallException(RMI_MethodCallException::ExchangeFailed); },
        [] { throw RMI_MethodCallException(RMI_MethodCallException::ParametersFailed); },
        [] { throw std::runtime_error("down"); },
        [] { throw 1; },
    };
    for (const auto& failure : failures) {
        for (const auto step : {&ScriptedCall::onAppend, &ScriptedCall::onExchange, &ScriptedCall::onParse}) {
            ScriptedCall call;
            call.*step = failure;
            EXPECT_EQ(call.make(), RMI_MethodCallException::CallFailed);
            EXPECT_EQ(call.sent.empty(), step == &ScriptedCall::onAppend);
        }
    }
}

} // namespace
