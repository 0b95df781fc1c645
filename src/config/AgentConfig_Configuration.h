#pragma once

#include "base/Secret_Text.h"
#include "config/Config_Configuration.h"
#include "net/HTTP_Route.h"

#include <memory>
#include <string>
#include <vector>

/// The content of agent.conf: how to reach the server, directly or through an HTTP proxy, from which ports
/// and address to call it, and where to listen. Read-only while the agent runs; who reads it on another
/// thread than the main one holds gMutexAgentConfig.
class AgentConfig_Configuration : public Config_Configuration {
public:
    AgentConfig_Configuration();
    ~AgentConfig_Configuration() override;

    /// Fields read before a failure stay as read; of the bind list nothing stays.
    bool parse(xercesc::InputSource& source) override;
    bool serialize(char*& buffer, unsigned& length) override;

    /// The dialog of -editConfig. False if standard input ends at a prompt; `changed` tells whether to save.
    bool editFromStdin(bool fileExists, bool& changed);

    const std::string& getServerHostname() const { return serverHostname_; }
    void setServerHostname(const std::string& hostname) { serverHostname_ = hostname; }
    unsigned getServerPort() const { return serverPort_; }
    void setServerPort(unsigned port) { serverPort_ = port; }
    unsigned getServerSSLPort() const { return serverSSLPort_; }
    void setServerSSLPort(unsigned port) { serverSSLPort_ = port; }
    const std::string& getServerURI() const { return serverURI_; }
    void setServerURI(const std::string& uri) { serverURI_ = uri; }

    /// Empty for no proxy.
    const std::string& getProxyHostname() const { return proxyHostname_; }
    void setProxyHostname(const std::string& hostname) { proxyHostname_ = hostname; }
    unsigned getProxyPort() const { return proxyPort_; }
    void setProxyPort(unsigned port) { proxyPort_ = port; }
    /// For the proxy; empty for no authentication there.
    const std::string& getUsername() const { return username_; }
    void setUsername(const std::string& username) { username_ = username; }
    const std::string& getPassword() const { return password_.asString(); }
    void setPassword(const std::string& password) { password_.assign(password); }

    /// Source ports of outgoing connections; 0 leaves them to the system.
    unsigned getReturnPortMin() const { return returnEnd_.lowestPort; }
    void setReturnPortMin(unsigned port) { returnEnd_.lowestPort = port; }
    unsigned getReturnPortMax() const { return returnEnd_.highestPort; }
    void setReturnPortMax(unsigned port) { returnEnd_.highestPort = port; }
    /// Source address of outgoing connections; empty leaves it to the system.
    const std::string& getReturnAddress() const { return returnEnd_.address; }
    void setReturnAddress(const std::string& address) { returnEnd_.address = address; }

    /// The way of a call to the server, through the proxy if there is one.
    HTTP_Route getRoute(bool ssl) const;

    /// Where to listen. The pairs stay this object's, until deallocateBindList.
    std::vector<HTTP_AddressPortPair*> getBindList() const;
    void addBindPair(const std::string& address, int port);
    void deallocateBindList();

private:
    struct Format;

    void read(const xercesc::InputSource& source);
    void setReturnPorts(unsigned port) { returnEnd_.lowestPort = returnEnd_.highestPort = port; }

    std::string serverHostname_;
    unsigned serverPort_ = 80;
    unsigned serverSSLPort_ = 443;
    std::string serverURI_ = "/BrindlexServer";
    std::string proxyHostname_;
    unsigned proxyPort_ = 0;
    std::string username_;
    Secret_Text password_;
    HTTP_LocalEnd returnEnd_;
    std::vector<std::unique_ptr<HTTP_AddressPortPair>> bindList_;
};
