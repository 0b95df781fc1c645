#include "methods/AgentRMI_MethodFiles.h"

#include "files/System_FileSystemObject.h"
#include "methods/AgentRMI_FSOBatchStatsRunnable.h"
#include "methods/AgentRMI_HandOver.h"
#include "methods/AgentRMI_MethodSupport.h"
#include "model/Auditable_TryAudit.h"
#include "rmi/AgentRMI_AsynchManager.h"
#include "rmi/RMI_RequestAttributes.h"
#include "xml/Xerces_Document.h"

namespace {

constexpr std::uint64_t mostMembers = 2500;

/// The last of the paths. Each must be there.
std::string pathOf(const xercesc::DOMElement& method) {
    std::string path;
    for (const xercesc::DOMElement* element : Xerces_ChildElements(method, "Path")) {
        path = Xerces_FirstText(*element).value_or("");
        AgentRMI_Require(!path.empty());
    }
    AgentRMI_Require(!path.empty());
    return path;
}

} // namespace

void AgentRMI_MethodGetFSOs::invoke(xercesc::DOMElement* method, xercesc::DOMDocument* document,
                                    xercesc::DOMElement* response) {
    AgentRMI_Perform([&] {
        const std::unique_ptr<System_FileSystemObject> object = System_FactoryAllocateFileSystemObject();
        AgentRMI_Require(object && RMI_StoreAuditParameters(*this, *object));
        object->setRecursionLevel(System_FileSystemObject::OneDirectory);
        object->setChildAuditLimit(mostMembers);
        object->setSerializationOptions(System_SerializeSelf | System_FileSystemObject::SerializeChildren);
        object->setPath(pathOf(*method).c_str());
        const bool isAudited = Auditable_TryAudit(*object);
        const bool isWritten = isAudited && object->serialize(document, response, nullptr);
        AgentRMI_Require(object->cleanupAfterAudit() && isWritten);
    });
}

void AgentRMI_MethodGetFSOBatchStats::invoke(xercesc::DOMElement* method, xercesc::DOMDocument* /*document*/,
                                             xercesc::DOMElement* response) {
    AgentRMI_Perform([&] {
        auto work = std::make_unique<AgentRMI_FSOBatchStatsRunnable>();
        AgentRMI_Prepare(*work, *this, *method);
        AgentRMI_HandOver(*gFileTrackRMIAsynchMgr, gFileTrackMutexRMIAsynch, std::move(work),
                          "maximum FSO batch stats in progress", *response);
    });
}
