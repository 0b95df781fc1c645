#pragma once

#include <string_view>

/// Whether a request body holds a password: such a body must not reach the log. It does if it names one of
/// the fields that carry passwords, be it spelled out, in XML character references, or in URL encoding. Pure.
bool requestBodyContainsPassword(std::string_view body);
