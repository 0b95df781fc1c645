#pragma once

#include "net/HTTP_FileImplClient.h"
#include "net/HTTP_Session.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

class HTTP_SessionImpl;

class HTTP_ConnectionImpl : public HTTP_Connection {
public:
    HTTP_ConnectionImpl(const HTTP_SessionImpl& session, HTTP_Route route)
        : route_(std::move(route)), session_(session) {}

    HTTP_File* getRequest(HTTP_Method method, const char* uri) override;

    const HTTP_SessionImpl& getSession() const { return session_; }
    const HTTP_Route& getRoute() const { return route_; }

private:
    HTTP_Route route_;
    const HTTP_SessionImpl& session_;
    std::vector<std::unique_ptr<HTTP_FileImplClient>> files_;
};

class HTTP_SessionImpl : public HTTP_Session {
public:
    explicit HTTP_SessionImpl(std::string userAgent) : userAgent_(std::move(userAgent)) {}

    const std::string& getUserAgent() const override { return userAgent_; }
    HTTP_Connection* getHttpConnection(const char* returnAddress, int returnPortMin, int returnPortMax,
                                       const HTTP_AddressPortPair& target, const char* username,
                                       const char* password) override;
    bool close() override;
    HTTP_Connection* getHttpConnection(HTTP_Route route) override;

private:
    std::string userAgent_;
    std::vector<std::unique_ptr<HTTP_ConnectionImpl>> connections_;
};
