#include "base/Failing_Memory.h"
#include "base/Temporary_Directory.h"
#include "config/Config_Configuration.h"
#include "config/Config_File.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

/// Content that does not serialise, or serialises to nothing.
class Unwritable : public Config_Configuration {
public:
    bool serialize(char*& buffer, unsigned& length) override {
        Config_Configuration::serialize(buffer, length);
        return attempt([&] {
            if (fails)
                throw std::runtime_error("no form");
        });
    }
    bool fails = true;
};

} // namespace

TEST(ConfigFile, WriteThatFailsKeepsTheOldFile) {
    const Temporary_Directory directory;
    putContents(directory / "uuid.conf", "old");
    Config_File<Unwritable> unwritable;
    unwritable.setPathname(directory.path());
    unwritable.setFilename("uuid.conf");
    EXPECT_FALSE(unwritable.writeFile());
    EXPECT_EQ(unwritable.lastError(), "uuid.conf: no form");
    unwritable.getConfig()->fails = false;
    EXPECT_FALSE(unwritable.writeFile());
    EXPECT_EQ(unwritable.lastError(), "uuid.conf: there is nothing to write");
    EXPECT_EQ(contentsOf(directory / "uuid.conf"), "old");
}

TEST_F(ConfigFileTest, AFailedAllocationCostsNoFile) {
    agent_.getConfig()->setServerHostname("before");
    agent_.getConfig()->setPassword("secret");
    agent_.getConfig()->addBindPair("127.0.0.1", 4000);
    ASSERT_TRUE(agent_.writeFile());
    const std::string before = contentsOf(directory_ / "agent.conf");
    bool isDone = false;
    const auto change = [&] {
        isDone = false;
        Config_File<AgentConfig_Configuration> file;
        file.setPathname(directory_.path());
        file.setFilename("agent.conf");
        const bool isRead = file.readFile();
        file.getConfig()->setServerHostname("after");
        isDone = isRead && file.writeFile();
    };
    change();
    ASSERT_TRUE(isDone);
    const std::string after = contentsOf(directory_ / "agent.conf");
    Failing_Memory::failEach(change, [&](unsigned long number, bool hasFailed) {
        const std::string contents = contentsOf(directory_ / "agent.conf");
        EXPECT_TRUE(contents == after || (hasFailed && contents == before)) << number << contents;
        EXPECT_TRUE(contents == after || !isDone) << number;
        EXPECT_EQ(directory_.entries(), 1U) << number;
        putContents(directory_ / "agent.conf", before);
        change();
        EXPECT_EQ(contentsOf(directory_ / "agent.conf"), after) << number;
        putContents(directory_ / "agent.conf", before);
    });
}
