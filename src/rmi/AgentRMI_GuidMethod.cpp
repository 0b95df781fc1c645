#include "rmi/AgentRMI_GuidMethod.h"

#include "config/AgentConfig_Globals.h"
#include "config/AgentConfig_Guid.h"
#include "config/Config_File.h"
#include "log/Debug_Printf.h"
#include "rmi/RMI_Envelope.h"
#include "threads/MutexLock.h"
#include "xml/Xerces_Document.h"

namespace {

/// Anybody can give an agent identities for hosts that it has none for. These bounds keep that from filling
/// its memory, and uuid.conf from growing beyond what can be read again, with room left for the agent's own
/// identity, however much longer the texts get as XML.
constexpr std::size_t longestText = 65536;
constexpr std::size_t mostIdentities = 1000;
constexpr std::size_t mostText = std::size_t{2} << 20;

/// The caller holds gMutexGuidConfig, as for the next.
bool hasRoomFor(const std::string& guid, const std::string& hostTarget) {
    const AgentConfig_Guid& identities = *gGuidConfig->getConfig();
    if (guid.size() > longestText || hostTarget.size() > longestText)
        return false;
    return hostTarget.empty() || (identities.getNumberOfPairs() < mostIdentities &&
                                  identities.getTextLength() + guid.size() + hostTarget.size() <= mostText);
}

/// An identity that could not be written stays for this run, and goes to the file with the next one.
bool adopt(const std::string& guid, const std::string& hostTarget) {
    try {
        gGuidConfig->getConfig()->setGuid(guid, hostTarget);
        return gGuidConfig->writeFile();
    } catch (...) {
        DEBUG_LOG("RMI: an identity could not be kept\n");
        return false;
    }
}

} // namespace

AgentRMI_GuidMethod::AgentRMI_GuidMethod(const AgentRMI_MethodRules& rules, const char* guid)
    : RMI_Method(guid), rules_(rules) {
    AgentRMI_GuidMethod::setMethodName(rules.name);
    AgentRMI_GuidMethod::setRequireUserAuthentication(rules.userAuthentication ==
                                                      AgentRMI_UserAuthentication::Yes);
}

bool AgentRMI_GuidMethod::checkForValidGuid() {
    return rules_.identity == AgentRMI_Identity::Required;
}

bool AgentRMI_GuidMethod::validateGuid(xercesc::DOMElement* response) {
    const std::string guid = getGuid();
    const std::string hostTarget = getHostTarget();

    const MutexLock lock(&gMutexGuidConfig);
    std::string identity = gGuidConfig->getConfig()->getGuid(hostTarget);
    if (checkForValidGuid() && (guid.empty() || (!identity.empty() && identity != guid)))
        return false;
    if (identity.empty() && !guid.empty()) {
        if (hasRoomFor(guid, hostTarget)) {
            if (!adopt(guid, hostTarget))
                return false;
            identity = guid;
        } else if (checkForValidGuid()) {
            return false;
        }
    }
    if (!identity.empty())
        Xerces_SetAttribute(*response, RMI_UuidAttribute, identity);
    return true;
}

bool AgentRMI_GuidMethod::validateUser(xercesc::DOMElement*) {
    return true;
}

bool AgentRMI_GuidMethod::validateEncryptionProtocol(Socket_Socket::EncryptionProtocol protocol) {
    switch (protocol) {
    case Socket_Socket::ENCRYPTION_NONE:
        return rules_.protocols == AgentRMI_Protocols::PlainAndSSL;
    case Socket_Socket::ENCRYPTION_SSL:
        return true;
    }
    return false;
}
