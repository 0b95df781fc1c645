#pragma once

#include <optional>
#include <string>
#include <string_view>

/// What the host summary reads out of the texts that the host gives. Pure functions; any text is welcome.

/// Up to the first carriage return or newline.
std::string System_FirstLine(std::string_view text);

/// The first file that `ls` listed: up to the first carriage return, newline, tab or blank. Empty for no
/// output.
std::string System_FirstFile(std::string_view listing);

/// The name of the operating system: the first line of its release file, or "Linux" if that is empty, a blank
/// and the kernel's release, which is the first line of what `uname -r` said.
std::string System_ComposeOSName(std::string_view releaseFile, std::string_view kernelRelease);

/// What getdomainname(2) gave, if that is a domain: one without a dot is a NIS name or the kernel's text for
/// none.
std::optional<std::string> System_DomainOfKernel(std::string_view name);

/// The domain in the lines of a resolv.conf(5) that hold the word "domain". Only a "domain" entry in the very
/// first of them counts.
std::optional<std::string> System_DomainOfResolver(std::string_view lines);
