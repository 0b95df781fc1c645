#include "methods/AgentRMI_FSOBatchStatsRunnable.h"

#include "calls/AgentRMI_MethodCallResults.h"
#include "files/System_FileSystemObjectLinux.h"
#include "xml/Xerces_Document.h"

#include <new>

namespace {

/// Names an object's text to the parser.
constexpr const char* objectId = "AgentRMI_FSOBatchStatsRunnable::count";

} // namespace

/// A tree whose walk ends when the work is told to. Only its counters are told, so members are not kept.
class AgentRMI_FSOBatchStatsRunnable::Tree : public System_FileSystemObjectLinux {
public:
    using System_FileSystemObjectLinux::operator=;
    explicit Tree(Thread_Terminatable& work) : work_(work) { setKeepsChildren(false); }

    bool terminateIteration(bool& succeeds) override {
        succeeds = false;
        return asked_++ % askedEach == 0 && work_.isToldToTerminate();
    }

private:
    /// The question takes a lock.
    static constexpr unsigned askedEach = 256;

    Thread_Terminatable& work_;
    unsigned asked_ = 0;
};

AgentRMI_FSOBatchStatsRunnable::AgentRMI_FSOBatchStatsRunnable()
    : AgentRMI_MethodRunnable("GetFSOBatchStats") {}

AgentRMI_FSOBatchStatsRunnable::~AgentRMI_FSOBatchStatsRunnable() = default;

bool AgentRMI_FSOBatchStatsRunnable::parseElements(const xercesc::DOMElement& method) {
    for (xercesc::DOMElement* element : Xerces_ChildElements(method, "FSO")) {
        Tree object(*this);
        if (!object.parse(element))
            return false;
        std::string text;
        object.appendText(text);
        text.shrink_to_fit();
        if (!objectsShare_.grow(sizeof(std::string) + text.size()))
            return false;
        objects_.push_back(std::move(text));
    }
    return true;
}

bool AgentRMI_FSOBatchStatsRunnable::invoke() {
    AgentRMI_MethodCallResults call("FSOStats");
    call.setHostTarget(getAuditParameterValue("hostTarget"));
    call.registerRunnable(this);
    for (const std::string& text : objects_) {
        const bool isCounted = count(text);
        if (mustStop())
            return end(false);
        if (!isCounted)
            continue;
        try {
            call.RMI_MethodCall::invoke();
        } catch (...) { // NOLINT(bugprone-empty-catch): the server may miss one, and get the next
        }
    }
    return end(true);
}

/// False if there is nothing to tell of the object.
bool AgentRMI_FSOBatchStatsRunnable::count(const std::string& text) {
    try {
        current_ = std::make_unique<Tree>(*this);
        const Xerces_DocumentPtr document = Xerces_Parse(text, objectId);
        if (!document || !current_->parse(Xerces_Root(*document)))
            return false;
        current_->setAllAttributes(true);
        current_->copyAuditParameters(this);
        current_->audit();
        return current_->getExists() != System_FileSystemObject::ExistenceUnknown;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

bool AgentRMI_FSOBatchStatsRunnable::serializeResult(xercesc::DOMDocument* document,
                                                     xercesc::DOMElement* parent) {
    return current_ && current_->System_FileSystemObject::serialize(document, parent, nullptr);
}
