#include "base/Failing_Memory.h"
#include "base/Temporary_Directory.h"
#include "config/AgentConfig_Configuration.h"
#include "config/AgentConfig_Guid.h"
#include "config/Config_File.h"

#include <gtest/gtest.h>

#include <initializer_list>
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

TEST(ConfigFile, FailedAllocationKeepsTheOldFile) {
    const Temporary_Directory directory;
    bool isDone = false;
    const auto change = [&](const char* host) {
        isDone = false;
        Config_File<AgentConfig_Configuration> file;
        file.setPathname(directory.path());
        file.setFilename("agent.conf");
        file.readFile();
        file.getConfig()->setServerHostname(host);
        file.getConfig()->setPassword("secret");
        isDone = file.writeFile();
    };
    change("before");
    const std::string before = contentsOf(directory / "agent.conf");
    change("after");
    ASSERT_TRUE(isDone);
    const std::string after = contentsOf(directory / "agent.conf");
    putContents(directory / "agent.conf", before);
    Failing_Memory::failEach([&] { change("after"); },
                             [&](unsigned long number, bool hasFailed) {
                                 const std::string contents = contentsOf(directory / "agent.conf");
                                 EXPECT_TRUE(contents == after || (hasFailed && contents == before))
                                     << number << contents;
                                 EXPECT_TRUE(contents == after || !isDone) << number;
                                 EXPECT_EQ(directory.entries(), 1U) << number;
                                 putContents(directory / "agent.conf", before);
                             });
}

TEST(Guid, IsReplacedForItsTargetHost) {
    AgentConfig_Guid guid;
    guid.setGuid("own");
    guid.setGuid("first", "host");
    guid.setGuid("second", "host");
    EXPECT_EQ(guid.getGuid() + guid.getGuid("host") + guid.getGuid("Host"), "ownsecond");
    EXPECT_EQ(guid.getNumberOfPairs(), 2U);
}

TEST(ConfigFile, ARefusedFileLeavesNothingOfWhatWasThere) {
    const Temporary_Directory directory;
    putContents(directory / "conf", "<refused/>");
    Config_File<AgentConfig_Guid> identities;
    Config_File<AgentConfig_Configuration> agent;
    identities.getConfig()->setGuid("g", "before");
    agent.getConfig()->addBindPair("before", 1);
    for (_Base_Config_File* file : std::initializer_list<_Base_Config_File*>{&identities, &agent}) {
        file->setPathname(directory.path());
        file->setFilename("conf");
        EXPECT_FALSE(file->readFile());
    }
    EXPECT_EQ(identities.getConfig()->getNumberOfPairs(), 0U);
    EXPECT_TRUE(agent.getConfig()->getBindList().empty());
}
