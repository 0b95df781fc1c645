#include "rmi/Thread_RunnableAuditParams.h"

#include "rmi/RMI_Method.h"

#include <string>

bool Thread_RunnableAuditParams::getAuditParamsFromMethod(RMI_Method* method) {
    if (method == nullptr)
        return false;
    const std::string snmpPort = std::to_string(method->getSnmpPort());
    return setAuditParameterValue("hostTarget", method->getHostTarget()) &&
           setAuditParameterValue("snmpCommunity", method->getSnmpCommunity()) &&
           setAuditParameterValue("snmpPort", snmpPort.c_str()) &&
           setAuditParameterValue("serviceUid", method->getServiceUid()) &&
           setAuditParameterValue("serviceGid", method->getServiceGid()) &&
           setAuditParameterValue("userName", method->getUserName()) &&
           setAuditParameterValue("userPassword", method->getUserPassword()) &&
           setAuditParameterValue("fsType", method->getFSType());
}
