#pragma once

#include <string_view>

/// Whether a request body holds a password. It does if it names one of the fields that carry passwords, be it
/// spelled out, in XML character references, or in URL encoding. A large body with escapes in it counts as
/// one that does, unread. Pure.
bool requestBodyContainsPassword(std::string_view body);

/// Whether a request body is known to hold no password: it names no field for one, and no encoding can hide
/// one from that look. Any other body must not reach the log, and its memory is wiped. Pure.
bool HTTP_IsFreeOfPasswords(std::string_view body);
