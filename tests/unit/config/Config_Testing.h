#pragma once

#include "config/Config_Configuration.h"
#include "xml/Xerces_Layer.h"

#include <gtest/gtest.h>
#include <xercesc/framework/MemBufInputSource.hpp>

#include <memory>
#include <string>

/// A test that has the XML library.
class ConfigTest : public testing::Test {
protected:
    static void SetUpTestSuite() { ASSERT_TRUE(Xerces_LayerInit()); }
    static void TearDownTestSuite() { Xerces_LayerCleanup(); }
};

inline bool parsed(Config_Configuration& configuration, const std::string& text) {
    xercesc::MemBufInputSource source(reinterpret_cast<const XMLByte*>(text.data()), text.size(), "");
    return configuration.parse(source);
}

inline std::string serialized(Config_Configuration& configuration) {
    char* buffer = nullptr;
    unsigned length = 0;
    EXPECT_TRUE(configuration.serialize(buffer, length)) << configuration.lastError();
    const std::unique_ptr<char[]> owner(buffer);
    if (buffer == nullptr)
        return "nothing";
    EXPECT_EQ(buffer[length], '\0');
    return {buffer, length};
}

/// What is between the XML declaration and the end.
inline std::string bodyOf(const std::string& document) {
    const std::size_t end = document.find("?>");
    EXPECT_NE(end, std::string::npos) << document;
    const std::size_t start = document.find('<', end);
    return start == std::string::npos ? std::string() : document.substr(start);
}
