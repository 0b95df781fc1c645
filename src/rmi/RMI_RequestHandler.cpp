#include "rmi/RMI_RequestHandler.h"

#include "base/Secret_Text.h"
#include "log/Debug_Printf.h"
#include "net/HTTP_BodyPassword.h"
#include "rmi/RMI_Envelope.h"
#include "rmi/RMI_Method.h"
#include "rmi/RMI_MethodException.h"
#include "rmi/RMI_MethodFactory.h"
#include "rmi/RMI_PeerVerifyHandler.h"
#include "rmi/RMI_RequestAttributes.h"
#include "xml/Xerces_Memory.h"
#include "xml/Xerces_XercesString.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace {

using xercesc::DOMElement;

constexpr std::string_view plainFailure = "RMI: failed to process";
constexpr const char* requestId = "RMI_RequestHandler::processRequest";

/// Why a request was not served. In the envelope's stage the reply is not delivered.
struct Refusal {
    RMI_Stage stage;
    const char* methodName; ///< null to leave it as it is
    RMI_Outcome outcome;
};

/// By RMI_Flaw, of which the first is none.
constexpr Refusal flawedEnvelope[] = {
    {},
    {RMI_Stage::Envelope, nullptr, {"parseerror", nullptr}},
    {RMI_Stage::Envelope, nullptr, {"unknown rmi", nullptr}},
    {RMI_Stage::Envelope, nullptr, {"version not supported", nullptr}},
    {RMI_Stage::Envelope, nullptr, {"schema not supported", nullptr}},
    {RMI_Stage::Request, nullptr, {"not a request", nullptr}},
};
constexpr Refusal noStage{RMI_Stage::Method, "unknown", {"unknown method", "unknown"}};
constexpr Refusal noMethod{RMI_Stage::Method, nullptr, {"no method", "missing method element"}};
constexpr Refusal noName{
    RMI_Stage::Method, nullptr, {"no method name", "missing method name in method element"}};
constexpr Refusal unknownMethod{RMI_Stage::Method, nullptr, {"unknown method", "no methods implemented"}};
constexpr Refusal wrongProtocol{RMI_Stage::Method, nullptr, {"error", "invalid encryption protocol"}};
constexpr Refusal unverifiedPeer{RMI_Stage::Method, nullptr, {"error", "failed peer verification"}};
constexpr Refusal wrongGuid{RMI_Stage::Method, nullptr, {"error", "invalid uuid"}};
constexpr Refusal wrongUser{RMI_Stage::Method, nullptr, {"error", nullptr}};

/// A method's name in a request. It goes back with the reply, there in up to six times as many bytes and in
/// more than one copy, so that a longer one is not read.
constexpr std::size_t longestMethodName = std::size_t{1} << 20;

constexpr RMI_Outcome unexplainedError{"error", nullptr};

/// The words for what a method throws; any other code is an error.
struct ExceptionWord {
    RMI_MethodException::ExceptionCode code;
    const char* response;
};
constexpr ExceptionWord exceptionWords[] = {
    {RMI_MethodException::NoParameters, "no parameters"},
    {RMI_MethodException::InvalidParameters, "invalid parameters"},
    {RMI_MethodException::TooFewParameters, "too few parameters"},
    {RMI_MethodException::TooManyParameters, "too many parameters"},
};

/// One request on its way through the checks. Each step returns the refusal that ends the way, or null.
class Exchange {
public:
    Exchange(Socket_Socket::EncryptionProtocol protocol, RMI_PeerVerifyHandler& peer,
             RMI_MethodFactory* factory)
        : protocol_(protocol), peer_(peer), factory_(factory) {
        peer.getSecurityTokenUser(defaultUser_);
        std::string password;
        peer.getSecurityTokenPassword(password);
        defaultPassword_ = Secret_Text::take(std::move(password));
    }

    /// Whether the reply is to be delivered.
    bool run(std::string_view xml) {
        const Refusal* refusal = check(xml);
        if (refusal == nullptr)
            invoke();
        else
            refuse(*refusal);
        return refusal == nullptr || refusal->stage != RMI_Stage::Envelope;
    }

    std::string reply() const { return reply_.serialize(); }

private:
    const Refusal* check(std::string_view xml) {
        using Step = const Refusal* (Exchange::*)();
        static constexpr Step steps[] = {
            &Exchange::readRequest,
            &Exchange::findMethod,
            &Exchange::checkConnection,
            &Exchange::checkCaller,
        };
        envelope_ = RMI_OpenEnvelope(xml, RMI_RequestName, requestId);
        if (envelope_.flaw != RMI_Flaw::None)
            return &flawedEnvelope[static_cast<std::size_t>(envelope_.flaw)];
        for (const Step step : steps) {
            if (const Refusal* refusal = (this->*step)())
                return refusal;
        }
        return nullptr;
    }

    const Refusal* readRequest() {
        DEBUG_LOG("RMI: is request\n");
        try {
            reply_.setStage(RMI_Stage::Method);
        } catch (...) {
            return &noStage;
        }
        return nullptr;
    }

    const Refusal* findMethod() {
        methodElement_ = RMI_FindMethod(*envelope_.content);
        if (methodElement_ == nullptr)
            return &noMethod;
        DEBUG_LOG("RMI: is method\n");
        const std::string name = RMI_MethodName(*methodElement_);
        if (name.empty() || name.size() > longestMethodName)
            return &noName;
        reply_.setMethodName(name);
        if (factory_ != nullptr)
            method_ = factory_->createMethod(
                name.c_str(), Xerces_GetAttribute(*envelope_.content, RMI_UuidAttribute).c_str());
        return method_ ? nullptr : &unknownMethod;
    }

    const Refusal* checkConnection() {
        if (!method_->validateEncryptionProtocol(protocol_))
            return &wrongProtocol;
        if (!peer_.setEncryptionProtocolVerifyPeer(method_->encProtoShouldVerifyPeer()))
            return &unverifiedPeer;
        return nullptr;
    }

    const Refusal* checkCaller() {
        tell(RMI_Told::BeforeIdentity);
        if (!method_->validateGuid(&reply_.response()))
            return &wrongGuid;
        // What HTTP authentication said stands unless the request says something else.
        if (!defaultUser_.empty())
            method_->setUserName(defaultUser_.c_str());
        if (!defaultPassword_.empty())
            method_->setUserPassword(defaultPassword_.c_str());
        tell(RMI_Told::BeforeUser);
        return method_->validateUser(&reply_.response()) ? nullptr : &wrongUser;
    }

    void invoke() {
        tell(RMI_Told::BeforeInvoke);
        try {
            method_->invoke(methodElement_, &reply_.document(), &reply_.response());
            reply_.setOutcome(RMI_Success);
        } catch (const RMI_MethodException& failure) {
            translate(failure);
        } catch (...) {
            reply_.setOutcome(unexplainedError);
        }
    }

    void tell(RMI_Told told) { RMI_TellMethod(*method_, *envelope_.content, told); }

    void translate(const RMI_MethodException& failure) {
        const auto code = failure.getExceptionCode();
        if (code == RMI_MethodException::Success) {
            reply_.setOutcome(RMI_Success);
            return;
        }
        const auto* word = std::find_if(std::begin(exceptionWords), std::end(exceptionWords),
                                        [code](const ExceptionWord& entry) { return entry.code == code; });
        reply_.setOutcome(
            {word == std::end(exceptionWords) ? unexplainedError.response : word->response, nullptr});
        // A method that knows more than its code says has already written it.
        const bool explained = code == RMI_MethodException::GeneralFailure && reply_.hasReason();
        if (!failure.getReason().empty() || !explained)
            reply_.setReason(failure.getReason());
    }

    void refuse(const Refusal& refusal) {
        reply_.setStage(refusal.stage);
        if (refusal.methodName != nullptr)
            reply_.setMethodName(refusal.methodName);
        reply_.setOutcome(refusal.outcome);
        if (refusal.stage == RMI_Stage::Envelope)
            reply_.addProtocol();
    }

    const Socket_Socket::EncryptionProtocol protocol_;
    RMI_PeerVerifyHandler& peer_;
    RMI_MethodFactory* const factory_;
    std::string defaultUser_;
    Secret_Text defaultPassword_;
    RMI_Reply reply_;
    RMI_Envelope envelope_;
    DOMElement* methodElement_ = nullptr;
    std::unique_ptr<RMI_Method> method_;
};

struct Answer {
    std::string text;
    bool deliver = false;
};

/// Nothing where no reply can be made.
std::optional<Answer> answer(Socket_Socket::EncryptionProtocol protocol, RMI_PeerVerifyHandler& peer,
                             RMI_MethodFactory* factory, std::string_view body) {
    std::optional<Secret_StackWipe> stackWipe;
    std::optional<Xerces_MemoryWipe> wipe;
    if (!HTTP_IsFreeOfPasswords(body)) {
        stackWipe.emplace();
        wipe.emplace();
    }
    try {
        Exchange exchange(protocol, peer, factory);
        const bool deliver = exchange.run(RMI_XmlInBody(body));
        std::string text = exchange.reply();
        if (!text.empty())
            return Answer{std::move(text), deliver};
    } catch (...) {
        DEBUG_LOG("RMI: a request could not be processed\n");
    }
    return std::nullopt;
}

/// Whether the answer is to be delivered.
bool give(const std::optional<Answer>& made, char*& reply, unsigned int& length) {
    const std::string_view text = made ? std::string_view(made->text) : plainFailure;
    reply = nxNewText(text);
    length = static_cast<unsigned int>(text.size());
    return made && made->deliver;
}

} // namespace

bool RMI_RequestHandler::registerMethodFactory(RMI_MethodFactory* factory) {
    if (factory == nullptr)
        return false;
    factory_ = factory;
    return true;
}

bool RMI_RequestHandler::processRequest(Socket_Socket::EncryptionProtocol protocol,
                                        RMI_PeerVerifyHandler* peer, const std::string* body, char*& reply,
                                        unsigned int& length) {
    if (body != nullptr)
        return processRequest(protocol, peer, std::string_view(*body), reply, length);
    return give(std::nullopt, reply, length);
}

bool RMI_RequestHandler::processRequest(Socket_Socket::EncryptionProtocol protocol,
                                        RMI_PeerVerifyHandler* peer, std::string_view body, char*& reply,
                                        unsigned int& length) {
    return give(peer == nullptr ? std::nullopt : answer(protocol, *peer, factory_, body), reply, length);
}
