#include "storage/System_VerifyUnixDiskDeviceFormat.h"

#include <string_view>

bool System_VerifyUnixDiskDeviceFormat(const char* device) {
    constexpr std::string_view digits = "0123456789";
    std::string_view rest = device == nullptr ? "" : device;
    for (const std::string_view letter : {"cC", "tT", "dD", "sS"}) {
        if (rest.empty() || letter.find(rest.front()) == std::string_view::npos)
            return false;
        rest.remove_prefix(1);
        const std::size_t end = rest.find_first_not_of(digits);
        if (rest.empty() || end == 0)
            return false;
        rest.remove_prefix(end == std::string_view::npos ? rest.size() : end);
    }
    return rest.empty();
}
