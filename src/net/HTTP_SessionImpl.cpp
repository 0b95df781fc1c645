#include "net/HTTP_SessionImpl.h"

#include <utility>

namespace {

std::string orEmpty(const char* text) {
    return text == nullptr ? std::string() : std::string(text);
}

} // namespace

std::unique_ptr<HTTP_Session> HTTP_FactoryAllocateSession(const char* userAgent) {
    return std::make_unique<HTTP_SessionImpl>(orEmpty(userAgent));
}

HTTP_ConnectionImpl::HTTP_ConnectionImpl(const HTTP_SessionImpl& session, const char* returnAddress,
                                         int returnPortMin, int returnPortMax, HTTP_AddressPortPair target,
                                         const char* username, const char* password)
    : returnPortMin_(returnPortMin), returnPortMax_(returnPortMax), returnAddress_(orEmpty(returnAddress)),
      target_(std::move(target)), username_(orEmpty(username)), password_(orEmpty(password)),
      session_(session) {}

HTTP_File* HTTP_ConnectionImpl::getRequest(HTTP_Method method, const char* uri) {
    return files_.emplace_back(std::make_unique<HTTP_FileImpl>(*this, method, orEmpty(uri))).get();
}

HTTP_Connection* HTTP_SessionImpl::getHttpConnection(const char* returnAddress, int returnPortMin,
                                                     int returnPortMax, const HTTP_AddressPortPair& target,
                                                     const char* username, const char* password) {
    return connections_
        .emplace_back(std::make_unique<HTTP_ConnectionImpl>(*this, returnAddress, returnPortMin,
                                                            returnPortMax, target, username, password))
        .get();
}

bool HTTP_SessionImpl::close() {
    connections_.clear();
    return true;
}
