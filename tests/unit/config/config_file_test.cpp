#include "base/Failing_Memory.h"
#include "base/Temporary_Directory.h"
#include "config/AgentConfig_Configuration.h"
#include "config/AgentConfig_Guid.h"
#include "config/Config_File.h"
#include "config/Config_Testing.h"

#include <string>
#include <sys/stat.h>

namespace {

class ConfigFileTest : public testing::Test {
protected:
    ConfigFileTest() {
        agent_.setPathname(directory_.path());
        agent_.setFilename("agent.conf");
        guid_.setPathname(directory_.path());
        guid_.setFilename("uuid.conf");
    }

    Temporary_Directory directory_;
    Config_File<AgentConfig_Configuration> agent_;
    Config_File<AgentConfig_Guid> guid_;
};

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

TEST_F(ConfigFileTest, LivesFromAbsentToDeleted) {
    EXPECT_EQ(guid_.getFilePathname(), directory_.path() + "/uuid.conf");
    EXPECT_FALSE(guid_.findFile());
    EXPECT_EQ(guid_.lastError(), "uuid.conf: cannot open " + directory_.path() +
                                     "/uuid.conf: System error 2 No such file or directory");
    EXPECT_FALSE(guid_.readFile());
    EXPECT_FALSE(guid_.deleteFile());

    EXPECT_TRUE(guid_.writeFile()) << guid_.lastError();
    EXPECT_EQ(guid_.lastError(), "");
    EXPECT_TRUE(guid_.findFile());
    EXPECT_NE(contentsOf(directory_ / "uuid.conf").find("<Uuids/>"), std::string::npos);
    guid_.getConfig()->setGuid("g", "host");
    putContents(directory_ / "uuid.conf.tmp", "leftover");
    EXPECT_TRUE(guid_.writeFile());
    EXPECT_EQ(directory_.entries(), 1U);

    Config_File<AgentConfig_Guid> other;
    other.setPathname(directory_.path());
    other.setFilename("uuid.conf");
    EXPECT_TRUE(other.readFile()) << other.lastError();
    EXPECT_EQ(other.getConfig()->getGuid("host"), "g");
    EXPECT_TRUE(other.deleteFile());
    EXPECT_EQ(directory_.entries(), 0U);
}

TEST_F(ConfigFileTest, ReadsFilesOfAnyHonestSize) {
    // Around the length of a block, padded with blanks that mean nothing.
    const std::string document = "<AgentUuidConfiguration version='1.1'><Uuids><Uuid value='g'/></Uuids>"
                                 "</AgentUuidConfiguration>";
    for (const std::size_t size : {1023, 1024, 1025, 4096, 300000}) {
        putContents(directory_ / "uuid.conf", document + std::string(size - document.size(), ' '));
        Config_File<AgentConfig_Guid> file;
        file.setPathname(directory_.path());
        file.setFilename("uuid.conf");
        EXPECT_TRUE(file.readFile()) << file.lastError();
        EXPECT_EQ(file.getConfig()->getGuid(), "g");
    }
    std::filesystem::resize_file(directory_ / "uuid.conf", std::uintmax_t(1) << 40);
    EXPECT_FALSE(guid_.readFile());
    EXPECT_NE(guid_.lastError().find("File too large"), std::string::npos) << guid_.lastError();
    std::filesystem::remove(directory_ / "uuid.conf");
    std::filesystem::create_directory(directory_ / "uuid.conf");
    EXPECT_FALSE(guid_.readFile());
}

TEST_F(ConfigFileTest, WriteThatFailsKeepsTheOldFile) {
    putContents(directory_ / "uuid.conf", "old");
    Config_File<Unwritable> unwritable;
    unwritable.setPathname(directory_.path());
    unwritable.setFilename("uuid.conf");
    EXPECT_FALSE(unwritable.writeFile());
    EXPECT_EQ(unwritable.lastError(), "uuid.conf: no form");
    unwritable.getConfig()->fails = false;
    EXPECT_FALSE(unwritable.writeFile());
    EXPECT_EQ(unwritable.lastError(), "uuid.conf: there is nothing to write");
    EXPECT_EQ(contentsOf(directory_ / "uuid.conf"), "old");
}

TEST_F(ConfigFileTest, PasswordIsNotShownToMoreThanBefore) {
    agent_.getConfig()->setPassword("secret");
    ASSERT_TRUE(agent_.writeFile());
    struct stat status {};
    ASSERT_EQ(stat((directory_ / "agent.conf").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0117, 0U);
    ASSERT_EQ(chmod((directory_ / "agent.conf").c_str(), 0600), 0);
    ASSERT_TRUE(agent_.writeFile());
    ASSERT_EQ(stat((directory_ / "agent.conf").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600U);
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
