#pragma once

#include "net/HTTP_FileImpl.h"
#include "net/HTTP_Session.h"

#include <memory>
#include <string>
#include <vector>

class HTTP_SessionImpl;

class HTTP_ConnectionImpl : public HTTP_Connection {
public:
    HTTP_ConnectionImpl(const HTTP_SessionImpl& session, const char* returnAddress, int returnPortMin,
                        int returnPortMax, HTTP_AddressPortPair target, const char* username,
                        const char* password);

    HTTP_File* getRequest(HTTP_Method method, const char* uri) override;

    const HTTP_SessionImpl& getSession() const { return session_; }
    const std::string& getReturnAddress() const { return returnAddress_; }
    int getReturnPortMin() const { return returnPortMin_; }
    int getReturnPortMax() const { return returnPortMax_; }
    const HTTP_AddressPortPair& getTarget() const { return target_; }
    const std::string& getUsername() const { return username_; }
    const std::string& getPassword() const { return password_; }

private:
    int returnPortMin_;
    int returnPortMax_;
    std::string returnAddress_;
    HTTP_AddressPortPair target_;
    std::string username_;
    std::string password_;
    const HTTP_SessionImpl& session_;
    std::vector<std::unique_ptr<HTTP_FileImpl>> files_;
};

class HTTP_SessionImpl : public HTTP_Session {
public:
    explicit HTTP_SessionImpl(std::string userAgent) : userAgent_(std::move(userAgent)) {}

    const std::string& getUserAgent() const override { return userAgent_; }
    HTTP_Connection* getHttpConnection(const char* returnAddress, int returnPortMin, int returnPortMax,
                                       const HTTP_AddressPortPair& target, const char* username,
                                       const char* password) override;
    bool close() override;

private:
    std::string userAgent_;
    std::vector<std::unique_ptr<HTTP_ConnectionImpl>> connections_;
};
