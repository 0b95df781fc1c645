#pragma once

#include "net/HTTP_File.h"
#include "net/HTTP_Route.h"

#include <memory>
#include <string>

/// Where requests of the outgoing side go, and how they leave. Owned by its session; owns its files. Used by
/// one thread at a time.
class HTTP_Connection {
public:
    HTTP_Connection() = default;
    HTTP_Connection(const HTTP_Connection&) = delete;
    HTTP_Connection& operator=(const HTTP_Connection&) = delete;
    /// Closes and deletes the files.
    virtual ~HTTP_Connection() = default;

    /// A file for one exchange, owned by the connection.
    virtual HTTP_File* getRequest(HTTP_Method method, const char* uri) = 0;
};

/// The root of an outgoing call: user agent and connections. Used by one thread at a time.
class HTTP_Session {
public:
    HTTP_Session() = default;
    HTTP_Session(const HTTP_Session&) = delete;
    HTTP_Session& operator=(const HTTP_Session&) = delete;
    virtual ~HTTP_Session() = default;

    virtual const std::string& getUserAgent() const = 0;
    /// A connection on the route that these make, owned by the session. Null counts as empty.
    virtual HTTP_Connection* getHttpConnection(const char* returnAddress, int returnPortMin,
                                               int returnPortMax, const HTTP_AddressPortPair& target,
                                               const char* username, const char* password) = 0;
    /// Deletes all connections, and their files with them.
    virtual bool close() = 0;
    /// A connection on the route, owned by the session.
    virtual HTTP_Connection* getHttpConnection(HTTP_Route route) = 0;
};

std::unique_ptr<HTTP_Session> HTTP_FactoryAllocateSession(const char* userAgent);
