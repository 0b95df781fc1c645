#include "base/File_Contents.h"
#include "base/Killed_Writer.h"
#include "base/Temporary_Directory.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

constexpr const char* Suffix = ".tmp";

bool put(const std::string& path, const std::string& contents) {
    return File_WriteAtomically(path.c_str(), Suffix, contents, 0660);
}

struct stat statusOf(const std::string& path) {
    struct stat status {};
    EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
    return status;
}

/// Files of this process cannot grow beyond a size, for the length of a test.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t size) : handler_(std::signal(SIGXFSZ, SIG_IGN)) {
        getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit limit{size, before_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;
    ~FileSizeLimit() {
        setrlimit(RLIMIT_FSIZE, &before_);
        std::signal(SIGXFSZ, handler_);
    }

private:
    rlimit before_{};
    void (*handler_)(int);
};

} // namespace

TEST(FileContents, ReadsWholeFilesUpToTheLimit) {
    const Temporary_Directory directory;
    const std::string path = directory / "file";
    for (const std::size_t size :
         {std::size_t(0), std::size_t(1024), std::size_t(4096), std::size_t(100000)}) {
        const std::string contents(size, 'x');
        putContents(path, contents);
        std::string read = "old";
        EXPECT_TRUE(File_ReadWhole(path.c_str(), read, size));
        EXPECT_EQ(read, contents);
        EXPECT_TRUE(File_ReadWhole(path.c_str(), read, 1000000));
        EXPECT_EQ(read, contents);
        if (size > 0) {
            EXPECT_FALSE(File_ReadWhole(path.c_str(), read, size - 1));
            EXPECT_EQ(errno, EFBIG);
        }
    }
    std::string read;
    EXPECT_TRUE(File_ReadWhole("/proc/self/stat", read, 100000));
    EXPECT_FALSE(read.empty());
    EXPECT_FALSE(File_ReadWhole("/dev/zero", read, 100000));
    EXPECT_FALSE(File_ReadWhole((directory / "absent").c_str(), read, 10));
    EXPECT_FALSE(File_ReadWhole(directory.path().c_str(), read, 10));
    ASSERT_EQ(mkfifo((directory / "pipe").c_str(), 0600), 0);
    EXPECT_TRUE(File_ReadWhole((directory / "pipe").c_str(), read, 10));
    EXPECT_EQ(read, "");
}

TEST(FileContents, WriteMakesAndReplaces) {
    const Temporary_Directory directory;
    const std::string path = directory / "file";
    const mode_t before = umask(002);
    EXPECT_TRUE(put(path, "one"));
    umask(before);
    EXPECT_EQ(contentsOf(path), "one");
    EXPECT_EQ(statusOf(path).st_mode & 07777, 0660U);
    EXPECT_TRUE(put(path, ""));
    EXPECT_EQ(contentsOf(path), "");
    EXPECT_EQ(directory.entries(), 1U);

    const std::string here = std::filesystem::current_path();
    std::filesystem::current_path(directory.path());
    EXPECT_TRUE(put("file", "relative"));
    std::filesystem::current_path(here);
    EXPECT_EQ(contentsOf(path), "relative");
}

TEST(FileContents, WriteKeepsOwnerAndModeOfTheFileThatItReplaces) {
    const Temporary_Directory directory;
    const std::string path = directory / "file";
    putContents(path, "old");
    // A leftover that others may read must not lend its permissions to the secrets that come after it.
    putContents(path + Suffix, "leftover");
    ASSERT_EQ(chmod((path + Suffix).c_str(), 0666), 0);
    ASSERT_EQ(chmod(path.c_str(), 0400), 0);
    const bool other = geteuid() == 0 && chown(path.c_str(), 12, 34) == 0;
    EXPECT_TRUE(put(path, "new"));
    EXPECT_EQ(contentsOf(path), "new");
    const struct stat status = statusOf(path);
    EXPECT_EQ(status.st_mode & 07777, 0400U);
    if (other) {
        EXPECT_EQ(status.st_uid, 12U);
        EXPECT_EQ(status.st_gid, 34U);
    }
}

TEST(FileContents, WriteReplacesALeftoverOfAnyKind) {
    const Temporary_Directory directory;
    const std::string path = directory / "file";
    const std::string bystander = directory / "bystander";
    putContents(bystander, "untouched");
    ASSERT_EQ(symlink(bystander.c_str(), (path + Suffix).c_str()), 0);
    EXPECT_TRUE(put(path, "one"));
    EXPECT_EQ(contentsOf(bystander), "untouched");
    EXPECT_TRUE(S_ISREG(statusOf(path).st_mode));
    ASSERT_EQ(mkfifo((path + Suffix).c_str(), 0600), 0);
    EXPECT_TRUE(put(path, "two"));
    EXPECT_EQ(contentsOf(path), "two");
    EXPECT_EQ(directory.entries(), 2U);
}

TEST(FileContents, WriteThatFailsKeepsTheOldFile) {
    const Temporary_Directory directory;
    const std::string path = directory / "file";
    putContents(path, "old");
    {
        const FileSizeLimit limit(5000);
        EXPECT_FALSE(put(path, std::string(5001, 'x')));
        EXPECT_EQ(errno, EFBIG);
    }
    EXPECT_EQ(contentsOf(path), "old");
    EXPECT_EQ(directory.entries(), 1U);

    ASSERT_EQ(mkdir((path + Suffix).c_str(), 0700), 0);
    EXPECT_FALSE(put(path, "new"));
    EXPECT_EQ(contentsOf(path), "old");
    ASSERT_EQ(rmdir((path + Suffix).c_str()), 0);

    EXPECT_FALSE(put(directory / "absent/file", "new"));
    ASSERT_EQ(mkdir((directory / "sub").c_str(), 0700), 0);
    EXPECT_FALSE(put(directory / "sub", "a directory is in the way"));
    EXPECT_EQ(directory.entries(), 2U);
    EXPECT_FALSE(put("/proc/qdv", "read-only"));
}

TEST(FileContents, WritersOfOneFileTakeTurns) {
    const Temporary_Directory directory;
    const std::string path = directory / "file";
    std::vector<std::thread> writers;
    writers.reserve(4);
    for (char letter = 'a'; letter < 'e'; ++letter) {
        writers.emplace_back([&path, letter] {
            for (int round = 0; round < 25; ++round)
                EXPECT_TRUE(put(path, std::string(20000, letter)));
        });
    }
    for (auto& writer : writers)
        writer.join();
    const std::string contents = contentsOf(path);
    EXPECT_EQ(contents, std::string(20000, contents.at(0)));
    EXPECT_EQ(directory.entries(), 1U);
}

/// The child writes as fast as it can and is killed at some moment; whoever reads afterwards, and all the
/// while, finds one of the two contents and nothing else.
TEST(FileContents, WriterMayBeKilledAtAnyMoment) {
    const Temporary_Directory directory;
    const std::string path = directory / "file";
    const std::string contents[] = {std::string(30000, 'a'), std::string(70000, 'b')};
    ASSERT_TRUE(put(path, contents[0]));
    int leftovers = 0;
    int changes = 0;
    std::string before = contents[0];
    for (int round = 0; round < 60; ++round) {
        {
            const Killed_Writer writer(
                [&](unsigned i) { put(path, contents[(static_cast<unsigned>(round) + i) % 2]); });
            const auto end = std::chrono::steady_clock::now() + std::chrono::microseconds(round * 97 % 3000);
            do {
                const std::string seen = contentsOf(path);
                EXPECT_TRUE(seen == contents[0] || seen == contents[1]);
            } while (std::chrono::steady_clock::now() < end);
        }
        const std::string after = contentsOf(path);
        ASSERT_TRUE(after == contents[0] || after == contents[1]) << after.size();
        changes += after != before ? 1 : 0;
        before = after;
        leftovers += std::filesystem::exists(path + Suffix) ? 1 : 0;
    }
    // The kills must have hit writers at work.
    EXPECT_GT(leftovers, 0);
    EXPECT_GT(changes, 0);
    EXPECT_TRUE(put(path, "done"));
    EXPECT_EQ(contentsOf(path), "done");
    EXPECT_EQ(directory.entries(), 1U);
}
