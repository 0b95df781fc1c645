#pragma once

#include <netinet/in.h>
#include <optional>

/// The IPv4 address for a text. An empty text is 0.0.0.0. Four fields with dots between, none longer than
/// three characters, are read as numbers whatever they hold. Anything else is a host name, whose first
/// address counts; this asks the name service and may take as long as it does. Nothing if there is no such
/// host.
std::optional<in_addr> Socket_ResolveAddress(const char* text);
