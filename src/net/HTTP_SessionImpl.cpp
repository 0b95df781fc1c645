#include "net/HTTP_SessionImpl.h"

namespace {

std::string orEmpty(const char* text) {
    return text == nullptr ? std::string() : std::string(text);
}

} // namespace

std::unique_ptr<HTTP_Session> HTTP_FactoryAllocateSession(const char* userAgent) {
    return std::make_unique<HTTP_SessionImpl>(orEmpty(userAgent));
}

HTTP_File* HTTP_ConnectionImpl::getRequest(HTTP_Method method, const char* uri) {
    return files_.emplace_back(std::make_unique<HTTP_FileImplClient>(*this, method, orEmpty(uri))).get();
}

HTTP_Connection* HTTP_SessionImpl::getHttpConnection(const char* returnAddress, int returnPortMin,
                                                     int returnPortMax, const HTTP_AddressPortPair& target,
                                                     const char* username, const char* password) {
    return getHttpConnection({.target = target,
                              .uri = {},
                              .localEnd = {orEmpty(returnAddress), static_cast<unsigned>(returnPortMin),
                                           static_cast<unsigned>(returnPortMax)},
                              .username = orEmpty(username),
                              .password = Secret_Text(password == nullptr ? "" : password)});
}

HTTP_Connection* HTTP_SessionImpl::getHttpConnection(HTTP_Route route) {
    return connections_.emplace_back(std::make_unique<HTTP_ConnectionImpl>(*this, std::move(route))).get();
}

bool HTTP_SessionImpl::close() {
    connections_.clear();
    return true;
}
