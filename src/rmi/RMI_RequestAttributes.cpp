#include "rmi/RMI_RequestAttributes.h"

#include "base/Secret_Text.h"
#include "model/Auditable_Auditable.h"
#include "rmi/RMI_Envelope.h"

#include <algorithm>

namespace {

/// A queued request keeps them until its turn, and an audit gives copies to all its parts.
constexpr std::size_t longestAuditParameter = 65536;

} // namespace

std::span<const RMI_RequestAttribute> RMI_RequestAttributes() {
    using Method = RMI_Method;
    using enum RMI_Told;
    static constexpr RMI_RequestAttribute table[] = {
        {XMLSerializable_Text<&Method::getGuid, &Method::setGuid>(RMI_UuidAttribute), BeforeIdentity, false},
        {XMLSerializable_Text<&Method::getHostTarget, &Method::setHostTarget>("hostTarget"), BeforeIdentity,
         true},
        {XMLSerializable_Text<&Method::getSnmpCommunity, &Method::setSnmpCommunity>("snmpCommunity"),
         BeforeInvoke, true},
        {XMLSerializable_Decimal<&Method::getSnmpPort, &Method::setSnmpPort>("snmpPort"), BeforeInvoke, true},
        {XMLSerializable_Text<&Method::getServiceUid, &Method::setServiceUid>("serviceUid"), BeforeInvoke,
         true},
        {XMLSerializable_Text<&Method::getServiceGid, &Method::setServiceGid>("serviceGid"), BeforeInvoke,
         true},
        {XMLSerializable_Text<&Method::getUserName, &Method::setUserName>("userName"), BeforeUser, true},
        {XMLSerializable_Text<&Method::getUserPassword, &Method::setUserPassword>("userPassword"), BeforeUser,
         true},
        {XMLSerializable_Text<&Method::getFSType, &Method::setFSType>("fsType"), BeforeInvoke, true},
        {XMLSerializable_Text<&Method::getVsamName, &Method::setVsamName>("vsamName"), BeforeUser, false},
    };
    return table;
}

void RMI_TellMethod(RMI_Method& method, const xercesc::DOMElement& request, RMI_Told told) {
    for (const RMI_RequestAttribute& row : RMI_RequestAttributes())
        if (row.told == told)
            XMLSerializable_ReadAttribute(row, method, request);
}

bool RMI_StoreAuditParameters(const RMI_Method& method, Auditable_Auditable& auditable) {
    const auto rows = RMI_RequestAttributes();
    return std::all_of(rows.begin(), rows.end(), [&](const RMI_RequestAttribute& row) {
        if (!row.isAuditParameter)
            return true;
        std::string scratch;
        const Secret_Text text(XMLSerializable_TextOf(row.get(method, scratch), scratch));
        return text.size() <= longestAuditParameter &&
               auditable.setAuditParameterValue(row.name, text.c_str());
    });
}
