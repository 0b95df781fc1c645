#include "base/Temporary_Directory.h"
#include "host/Host_Host.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <thread>
#include <unistd.h>

namespace {

using namespace std::chrono_literals;

class RealHost : public testing::Test {
protected:
    void SetUp() override { std::filesystem::current_path(directory_.path()); }
    void TearDown() override { std::filesystem::current_path("/"); }

    Host_Host& host_ = Host_Real();
    Temporary_Directory directory_;
};

TEST_F(RealHost, ReadsFilesFoldersAndLinks) {
    const std::string file = directory_ / "file";
    putContents(file, std::string("a\0b", 3));
    symlink("file", (directory_ / "link").c_str());
    mkfifo((directory_ / "a fifo").c_str(), 0600);
    EXPECT_EQ(*host_.readFile(file), std::string("a\0b", 3));
    EXPECT_EQ(host_.readFile("/proc/self/stat").valueOr("").substr(0, 1 + std::to_string(getpid()).size()),
              std::to_string(getpid()) + " ");
    EXPECT_EQ(*host_.listFolder(directory_.path()), (std::vector<std::string>{"a fifo", "file", "link"}));
    EXPECT_EQ(*host_.readLink(directory_ / "link"), "file");
    EXPECT_EQ(*host_.node(directory_ / "link"), Host_Node{Host_Node::File});
    EXPECT_EQ(*host_.node(directory_ / "a fifo"), Host_Node{Host_Node::Other});
    EXPECT_EQ(*host_.node("/"), Host_Node{Host_Node::Folder});
    EXPECT_EQ(*host_.node("/dev/null"), (Host_Node{Host_Node::Character, 1, 3}));

    const std::string missing = directory_ / "missing";
    EXPECT_EQ(host_.readFile(missing).error(), ENOENT);
    EXPECT_EQ(host_.listFolder(file).error(), ENOTDIR);
    EXPECT_EQ(host_.readLink(file).error(), EINVAL);
    EXPECT_EQ(host_.node(missing).error(), ENOENT);
    EXPECT_EQ(host_.fileSystem(missing).error(), ENOENT);
    EXPECT_EQ(host_.openDevice(missing).error(), ENOENT);
}

TEST_F(RealHost, TellsTheSizeOfAFileSystem) {
    struct statvfs expected {};
    ASSERT_EQ(statvfs("/", &expected), 0);
    const auto size = host_.fileSystem("/");
    ASSERT_TRUE(size);
    EXPECT_EQ(size->blockSize, expected.f_bsize);
    EXPECT_EQ(size->blocks, expected.f_blocks);
    EXPECT_LE(size->freeInodes, size->inodes);
    EXPECT_LE(size->availableBlocks, size->freeBlocks);
    EXPECT_LE(size->freeBlocks, size->blocks);
}

/// A file serves as well, as far as it is read.
TEST_F(RealHost, ReadsADevice) {
    putContents(directory_ / "disk", std::string(44, ' ') + "identifier");
    const auto device = host_.openDevice(directory_ / "disk");
    ASSERT_TRUE(device);
    EXPECT_EQ(*(*device)->read(44, 4), "iden");
    EXPECT_EQ(*(*device)->read(44, 32), "identifier");
    EXPECT_EQ(*(*device)->read(544, 32), "");
    EXPECT_EQ((*device)->scsiAddress().error(), ENOTTY);
    EXPECT_EQ((*device)->inquiry().error(), ENOTTY);
    EXPECT_EQ((*device)->identity().error(), ENOTTY);
    const auto folder = host_.openDevice("/");
    ASSERT_TRUE(folder);
    EXPECT_EQ((*folder)->read(0, 1).error(), EISDIR);
}

TEST_F(RealHost, EndsCommandsAtTheirLimitAndOnRequest) {
    EXPECT_EQ(*host_.run("{ echo out; echo err >&2; }"), "out\n");
    EXPECT_EQ(host_.run("echo (").error(), EIO);
    const std::string mark = directory_ / "mark";
    EXPECT_EQ(host_.run("(sleep 1; echo > " + mark + ") & sleep 60", {200ms}).error(), ETIMEDOUT);

    std::stop_source stop;
    std::thread stopper([&] {
        while (!std::filesystem::exists(directory_ / "started"))
            std::this_thread::yield();
        stop.request_stop();
    });
    const std::string command = "echo > " + (directory_ / "started") + "; sleep 60";
    EXPECT_EQ(host_.run(command, {60s, stop.get_token()}).error(), ECANCELED);
    stopper.join();
    EXPECT_EQ(host_.run(command, {60s, stop.get_token()}).error(), ECANCELED);
    std::this_thread::sleep_for(1200ms);
    EXPECT_FALSE(std::filesystem::exists(mark)) << "what the command had started went with it";
}

} // namespace
