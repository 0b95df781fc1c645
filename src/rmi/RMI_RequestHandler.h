#pragma once

#include "net/Socket_Socket.h"

#include <string>
#include <string_view>

class RMI_MethodFactory;
class RMI_PeerVerifyHandler;

/// Turns the body of one POST into a reply: checks the envelope, finds the method, checks the call and makes
/// it. Keeps nothing between calls, so that any number of threads may each have one.
class RMI_RequestHandler {
public:
    /// The factory is borrowed and must outlive this object. False for null.
    bool registerMethodFactory(RMI_MethodFactory* factory);

    /// `body` is XML, or a form in which the field CommandBody holds it; it ends at its first zero byte.
    /// `reply` gets a new zero-terminated array that the caller releases with array delete, `length` its
    /// length without the zero. True if the reply is to be delivered, also when it tells of a failure; false
    /// if the envelope itself failed.
    bool processRequest(Socket_Socket::EncryptionProtocol protocol, RMI_PeerVerifyHandler* peer,
                        const std::string* body, char*& reply, unsigned int& length);

    /// The same for a body that is no string.
    bool processRequest(Socket_Socket::EncryptionProtocol protocol, RMI_PeerVerifyHandler* peer,
                        std::string_view body, char*& reply, unsigned int& length);

private:
    RMI_MethodFactory* factory_ = nullptr;
};
