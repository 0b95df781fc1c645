#include "net/Socket_Address.h"

#include <array>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <netdb.h>
#include <string>
#include <string_view>
#include <sys/socket.h>

namespace {

constexpr std::size_t quadFields = 4;
constexpr std::size_t longestQuadField = 3;

std::optional<in_addr> parseQuad(std::string_view text) {
    std::uint32_t address = 0;
    for (std::size_t field = 0; field < quadFields; ++field) {
        const std::size_t end = text.find('.');
        const bool last = field == quadFields - 1;
        if ((end == std::string_view::npos) != last)
            return std::nullopt;
        const std::string digits(text.substr(0, end));
        if (digits.size() > longestQuadField)
            return std::nullopt;
        const long value = std::strtol(digits.c_str(), nullptr, 10);
        address = (address << 8) | (static_cast<std::uint32_t>(value) & 0xFF);
        if (!last)
            text.remove_prefix(end + 1);
    }
    return in_addr{htonl(address)};
}

std::optional<in_addr> lookUp(const char* host) {
    addrinfo hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    if (::getaddrinfo(host, nullptr, &hints, &found) != 0)
        return std::nullopt;
    const std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> owner(found, &::freeaddrinfo);
    return reinterpret_cast<const sockaddr_in*>(found->ai_addr)->sin_addr;
}

} // namespace

std::optional<in_addr> Socket_ResolveAddress(const char* text) {
    if (*text == '\0')
        return in_addr{htonl(INADDR_ANY)};
    if (const auto quad = parseQuad(text))
        return quad;
    return lookUp(text);
}
