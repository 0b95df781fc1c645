#pragma once

#include "config/AgentConfig_Globals.h"
#include "config/AgentConfig_Guid.h"
#include "config/Config_File.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>

/// A folder of its own with the agent's identities, as a fresh agent has them.
class WithIdentities : public testing::Test {
protected:
    void SetUp() override {
        std::string pattern = testing::TempDir() + "qdv-rmi-XXXXXX";
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        folder = pattern;
        gGuidConfig = std::make_unique<Config_File<AgentConfig_Guid>>();
        gGuidConfig->setPathname(folder);
        gGuidConfig->setFilename("uuid.conf");
    }
    void TearDown() override {
        gGuidConfig.reset();
        std::filesystem::remove_all(folder);
    }

    /// The identity that a restarted agent would find; "none" without a file that can be read.
    std::string stored(const std::string& host = "") const {
        Config_File<AgentConfig_Guid> file;
        file.setPathname(folder);
        file.setFilename("uuid.conf");
        return file.readFile() ? file.getConfig()->getGuid(host) : "none";
    }

    std::string folder;
};
