#pragma once

#include "config/Config_Configuration.h"

#include <gtest/gtest.h>
#include <xercesc/framework/MemBufInputSource.hpp>

#include <memory>
#include <string>

inline bool parsed(Config_Configuration& configuration, const std::string& text) {
    xercesc::MemBufInputSource source(reinterpret_cast<const XMLByte*>(text.data()), text.size(), "");
    return configuration.parse(source);
}

/// What is behind the XML declaration.
inline std::string serialized(Config_Configuration& configuration) {
    char* buffer = nullptr;
    unsigned length = 0;
    EXPECT_TRUE(configuration.serialize(buffer, length)) << configuration.lastError();
    const std::unique_ptr<char[]> owner(buffer);
    if (buffer == nullptr)
        return "nothing";
    EXPECT_EQ(buffer[length], '\0');
    const std::string text(buffer, length);
    return text.substr(text.find("?>") + 2);
}
