#include "rmi/Thread_RunnableAuditParams.h"

#include "rmi/RMI_RequestAttributes.h"

bool Thread_RunnableAuditParams::getAuditParamsFromMethod(RMI_Method* method) {
    return method != nullptr && RMI_StoreAuditParameters(*method, *this);
}
