#pragma once

#include "base/Secret_Text.h"
#include "net/Socket_Socket.h"
#include "xml/Xerces_Types.h"

#include <string>

/// One remote method call that the server makes to this agent. An object is made for one request, checked,
/// given what the request's attributes said, invoked and destroyed, all on one thread. What it wants to keep
/// past invoke() it must copy.
///
/// A get operation returns the text that the object holds; a set operation takes null for the empty text.
class RMI_Method {
public:
    explicit RMI_Method(const char* guid);
    RMI_Method(const RMI_Method&) = delete;
    RMI_Method& operator=(const RMI_Method&) = delete;

    /// Whether the request must carry this agent's identity.
    virtual bool checkForValidGuid() = 0;
    virtual ~RMI_Method();

    virtual const char* getMethodName() const { return methodName_.c_str(); }
    virtual void setMethodName(const char* name) { assign(methodName_, name); }
    /// The identity that the request named.
    virtual const char* getGuid() const { return guid_.c_str(); }
    virtual void setGuid(const char* guid) { assign(guid_, guid); }
    virtual const char* getSnmpCommunity() const { return snmpCommunity_.c_str(); }
    virtual void setSnmpCommunity(const char* community) { assign(snmpCommunity_, community); }
    /// 0 when the request named none.
    virtual unsigned int getSnmpPort() const { return snmpPort_; }
    virtual void setSnmpPort(unsigned int port) { snmpPort_ = port; }
    virtual const char* getServiceUid() const { return serviceUid_.c_str(); }
    virtual void setServiceUid(const char* uid) { assign(serviceUid_, uid); }
    virtual const char* getServiceGid() const { return serviceGid_.c_str(); }
    virtual void setServiceGid(const char* gid) { assign(serviceGid_, gid); }
    virtual const char* getFSType() const { return fsType_.c_str(); }
    virtual void setFSType(const char* type) { assign(fsType_, type); }
    /// The host that the call is meant for; empty for this one.
    virtual const char* getHostTarget() const { return hostTarget_.c_str(); }
    virtual void setHostTarget(const char* host) { assign(hostTarget_, host); }
    virtual const char* getUserName() const { return userName_.c_str(); }
    virtual void setUserName(const char* name) { assign(userName_, name); }
    virtual const char* getUserPassword() const { return userPassword_.c_str(); }
    virtual void setUserPassword(const char* password);
    virtual const char* getVsamName() const { return vsamName_.c_str(); }
    virtual void setVsamName(const char* name) { assign(vsamName_, name); }

    virtual bool checkRequireUserAuthentication() { return requireUserAuthentication_; }
    virtual void setRequireUserAuthentication(bool require) { requireUserAuthentication_ = require; }
    /// Whether the connection's peer must show a certificate.
    virtual bool encProtoShouldVerifyPeer() { return encProtoShouldVerifyPeer_; }

    /// Judges the request's identity, and may tell this agent's on `response`. False refuses the request.
    virtual bool validateGuid(xercesc::DOMElement* response) = 0;
    /// False refuses the request; `response` may then say more.
    virtual bool validateUser(xercesc::DOMElement* response) = 0;
    /// Whether the method may be called over such a connection.
    virtual bool validateEncryptionProtocol(Socket_Socket::EncryptionProtocol protocol) = 0;
    /// Does the work: parameters are below `method`, results go below `response`, which is part of
    /// `document`. Reports failure by throwing RMI_MethodException.
    virtual void invoke(xercesc::DOMElement* method, xercesc::DOMDocument* document,
                        xercesc::DOMElement* response) = 0;

private:
    static void assign(std::string& text, const char* value) { text = value == nullptr ? "" : value; }

    std::string methodName_;
    std::string guid_;
    unsigned int snmpPort_ = 0;
    std::string snmpCommunity_;
    std::string serviceUid_;
    std::string serviceGid_;
    std::string fsType_;
    std::string hostTarget_;
    std::string userName_;
    Secret_Text userPassword_;
    std::string vsamName_;
    bool requireUserAuthentication_ = false;
    bool encProtoShouldVerifyPeer_ = false;
};
