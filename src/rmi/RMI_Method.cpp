#include "rmi/RMI_Method.h"

#include "base/String_Functions.h"

RMI_Method::RMI_Method(const char* guid) {
    assign(guid_, guid);
}

RMI_Method::~RMI_Method() {
    nxWipeText(userPassword_);
}

void RMI_Method::setUserPassword(const char* password) {
    nxWipeText(userPassword_);
    assign(userPassword_, password);
}
