#pragma once

#include <csignal>
#include <cstdint>
#include <string>

/// The set of ignored signals as /proc/PID/status tells it in hexadecimal, without the two that the C library
/// keeps for itself: nobody can set them through it, and whoever started the test may have left them ignored.
inline std::uint64_t ignoredSignals(const std::string& status) {
    const std::string label = "SigIgn:";
    const std::size_t at = status.find(label);
    if (at == std::string::npos)
        return ~std::uint64_t{0};
    const std::uint64_t reserved = (std::uint64_t{1} << 31) | (std::uint64_t{1} << 32);
    return std::stoull(status.substr(at + label.size()), nullptr, 16) & ~reserved;
}
