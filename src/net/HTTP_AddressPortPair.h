#pragma once

#include <string>
#include <utility>

constexpr int HTTP_HighestPort = 65535;

/// Whether connections can be made to a port of that number.
constexpr bool HTTP_IsPort(long number) {
    return number > 0 && number <= HTTP_HighestPort;
}

/// An address (host name or IPv4 dotted quad) and a port. A value; no operation fails.
class HTTP_AddressPortPair {
public:
    HTTP_AddressPortPair() = default;
    HTTP_AddressPortPair(std::string address, int port) : address_(std::move(address)), port_(port) {}

    /// A null pointer for an empty address. Valid until the pair changes or goes.
    const char* getAddress() const { return address_.empty() ? nullptr : address_.c_str(); }
    const std::string& address() const { return address_; }
    void setAddress(std::string address) { address_ = std::move(address); }
    int getPort() const { return port_; }
    void setPort(int port) { port_ = port; }
    bool operator==(const HTTP_AddressPortPair&) const = default;

private:
    std::string address_;
    int port_ = 0;
};
