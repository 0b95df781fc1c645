#pragma once

#include "net/HTTP_Types.h"
#include "net/Socket_Socket.h"

#include <memory>
#include <string>

class HTTP_SecurityToken;

/// One exchange of request and reply over one socket, seen from either side: a server handles a request and
/// sends the reply, a client sends the request and gets the reply. Used by one thread at a time.
class HTTP_File {
public:
    HTTP_File() = default;
    HTTP_File(const HTTP_File&) = delete;
    HTTP_File& operator=(const HTTP_File&) = delete;
    virtual ~HTTP_File() = default;

    /// The factory is borrowed and must outlive the file.
    virtual bool registerSSLFactory(Socket_SSLFactory* factory) = 0;
    /// Takes the token over; one that is already there goes.
    virtual bool registerSecurityToken(std::unique_ptr<HTTP_SecurityToken> token) = 0;
    /// Owned by the file; null if none was registered, as on every server-side file.
    virtual HTTP_SecurityToken* getSecurityToken() const = 0;
    virtual Socket_Socket::EncryptionProtocol getEncryptionProtocol() const = 0;
    virtual bool setEncryptionProtocol(Socket_Socket::EncryptionProtocol protocol) = 0;
    virtual bool getEncryptionProtocolVerifyPeer() const = 0;
    virtual bool setEncryptionProtocolVerifyPeer(bool verify) = 0;

    /// Server: reads one request. False if there is none to answer, and then no reply may be sent.
    virtual bool handleRequest(HTTP_Return_Code& code) = 0;
    /// Client: performs the whole exchange, with one more attempt if authentication is asked for. True if a
    /// reply was read, whatever its status. `body` is text of `length` bytes; `name` is not sent.
    virtual bool sendRequest(HTTP_Content_Type contentType, const char* name, const char* body,
                             int length) = 0;
    /// Server: answers the request, exactly once. The body is zero-terminated text; it is sent up to its zero
    /// byte, and a null body or a length below 1 means none. Throws HTTP_Exception without a request.
    virtual bool sendReply(HTTP_Return_Code code, HTTP_Content_Type contentType, const char* body,
                           int length) = 0;

    virtual HTTP_Method getMethod() const = 0;
    /// As it came, not decoded.
    virtual const std::string& getURI() const = 0;
    virtual const std::string& getProtocolVersion() const = 0;
    /// The body of the request (server) or of the reply (client), zero-terminated. It stays the file's and is
    /// valid until the next request. False, with a null pointer and a length of 0, if there is none.
    virtual bool getEntityBody(char*& body, int& length) = 0;
    virtual bool getWasClientResponseReceived() const = 0;
    /// Client: the status of the reply. Throws HTTP_Exception without a response.
    virtual HTTP_Return_Code getReturnCode() const = 0;
    virtual bool getWasServerRequestMade() const = 0;
    /// A GET without any header.
    virtual bool getWasServerRequestSimple() const = 0;
    virtual bool close() = 0;
};
