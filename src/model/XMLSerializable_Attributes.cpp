#include "model/XMLSerializable_Attributes.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <strings.h>

bool XMLSerializable_ReadFlag(const std::string& text) {
    return strncasecmp(text.c_str(), "true", 4) == 0;
}

unsigned long long XMLSerializable_ReadUnsigned(const std::string& text) {
    return std::strtoull(text.c_str(), nullptr, 0);
}

int XMLSerializable_ReadInteger(const std::string& text) {
    const long number = std::strtol(text.c_str(), nullptr, 10);
    return static_cast<int>(
        std::clamp<long>(number, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}
