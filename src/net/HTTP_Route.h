#pragma once

#include "base/Secret_Text.h"
#include "net/HTTP_AddressPortPair.h"
#include "net/HTTP_Reader.h"

#include <cstddef>
#include <functional>
#include <string>

/// The local end of outgoing connections, for firewalls that let only some through. A value.
struct HTTP_LocalEnd {
    std::string address;      ///< a host name or an address of this host; empty for any
    unsigned lowestPort = 0;  ///< the first free port from here on; 0 leaves it to the system
    unsigned highestPort = 0; ///< the last to be tried
};

/// Where outgoing calls go and how they leave. A value that is moved, since it holds a password.
struct HTTP_Route {
    HTTP_AddressPortPair target;
    std::string uri; ///< as it stands on the request line
    HTTP_LocalEnd localEnd;
    std::string username; ///< for a challenge of the peer, as is the password
    Secret_Text password;
    unsigned silenceSeconds = HTTP_ReadTimeLimit; ///< for which the peer may keep the call waiting
    std::size_t largestBody = HTTP_BodyLimit;     ///< of a reply, in bytes
    std::function<void()> onConnected = nullptr;  ///< if set, called when a connection is made
};
