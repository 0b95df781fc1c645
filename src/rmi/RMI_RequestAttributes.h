#pragma once

#include "rmi/RMI_Method.h"
#include "xml/XMLSerializable_Attributes.h"

#include <span>

class Auditable_Auditable;

/// When a method is told what an attribute of Request says: before the identity is judged, before the user
/// is, or when every check has passed.
enum class RMI_Told { BeforeIdentity, BeforeUser, BeforeInvoke };

/// An attribute of Request, and where its value goes. One that is absent or empty tells nothing.
struct RMI_RequestAttribute : XMLSerializable_Attribute<RMI_Method> {
    RMI_Told told;
    bool isAuditParameter; ///< kept under the attribute's name by what is audited for the request
};

std::span<const RMI_RequestAttribute> RMI_RequestAttributes();

/// Tells `method` what `request`, a Request element, says at this point.
void RMI_TellMethod(RMI_Method& method, const xercesc::DOMElement& request, RMI_Told told);

/// Stores what the request told `method` as audit parameters. False at the first that cannot be stored, or
/// has more than 65,536 bytes.
bool RMI_StoreAuditParameters(const RMI_Method& method, Auditable_Auditable& auditable);
