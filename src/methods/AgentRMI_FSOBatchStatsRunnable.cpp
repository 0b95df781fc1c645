#include "methods/AgentRMI_FSOBatchStatsRunnable.h"

#include "xml/Xerces_Document.h"

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

bool AgentRMI_FSOBatchStatsRunnable::parseElements(const xercesc::DOMElement& method) {
    for (xercesc::DOMElement* element : Xerces_ChildElements(method, "FSO")) {
        objects_.push_back(std::make_unique<Tree>(*this));
        if (!objects_.back()->parse(element)) {
            objects_.clear();
            return false;
        }
    }
    return true;
}

bool AgentRMI_FSOBatchStatsRunnable::invoke() {
    AgentRMI_MethodCallResults call("FSOStats");
    call.setHostTarget(getAuditParameterValue("hostTarget"));
    call.registerRunnable(this);
    for (current_ = 0; current_ < objects_.size(); ++current_) {
        System_FileSystemObjectLinux& object = *objects_[current_];
        object.setAllAttributes(true);
        object.copyAuditParameters(this);
        object.audit();
        if (mustStop())
            return end(false);
        if (object.getExists() == System_FileSystemObject::ExistenceUnknown)
            continue;
        try {
            call.RMI_MethodCall::invoke();
        } catch (...) { // NOLINT(bugprone-empty-catch): the server may miss one, and get the next
        }
    }
    return end(true);
}

bool AgentRMI_FSOBatchStatsRunnable::serializeResult(xercesc::DOMDocument* document,
                                                     xercesc::DOMElement* parent) {
    return current_ < objects_.size() &&
           objects_[current_]->System_FileSystemObject::serialize(document, parent, nullptr);
}
