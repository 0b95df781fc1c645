#include "rmi/RMI_Method.h"

RMI_Method::RMI_Method(const char* guid) {
    assign(guid_, guid);
}

RMI_Method::~RMI_Method() = default;

void RMI_Method::setUserPassword(const char* password) {
    userPassword_.assign(password == nullptr ? "" : password);
}
