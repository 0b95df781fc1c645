#include "base/File_Contents.h"
#include "base/Killed_Writer.h"
#include "base/Temporary_Directory.h"

#include <cerrno>
#include <chrono>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

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

    const std::string here = std::filesystem::current_path();
    std::filesystem::current_path(directory.path());
    EXPECT_TRUE(put("file", ""));
    std::filesystem::current_path(here);
    EXPECT_EQ(contentsOf(path), "");
    EXPECT_EQ(directory.entries(), 1U);
}

/// A leftover that others may read, or that somebody has open, must not lend itself to the secrets that come
/// after it; nor may one that leads elsewhere.
TEST(FileContents, WriteTakesOwnerAndModeFromTheOldFileAndNothingFromALeftover) {
    const Temporary_Directory directory;
    const std::string path = directory / "file";
    const std::string bystander = directory / "bystander";
    putContents(path, "old");
    ASSERT_EQ(chmod(path.c_str(), 0400), 0);
    const bool other = geteuid() == 0 && chown(path.c_str(), 12, 34) == 0;
    putContents(bystander, "untouched");
    ASSERT_EQ(link(bystander.c_str(), (path + Suffix).c_str()), 0);
    EXPECT_TRUE(put(path, "one"));
    ASSERT_EQ(symlink(bystander.c_str(), (path + Suffix).c_str()), 0);
    EXPECT_TRUE(put(path, "two"));
    EXPECT_EQ(contentsOf(bystander), "untouched");
    EXPECT_EQ(contentsOf(path), "two");
    EXPECT_EQ(directory.entries(), 2U);
    const struct stat status = statusOf(path);
    EXPECT_EQ(status.st_mode, S_IFREG | 0400U);
    EXPECT_TRUE(!other || (status.st_uid == 12 && status.st_gid == 34));
}

TEST(FileContents, WriteThatFailsKeepsTheOldFile) {
    const Temporary_Directory directory;
    const std::string path = directory / "file";
    putContents(path, "old");
    ASSERT_EQ(mkdir((path + Suffix).c_str(), 0700), 0);
    EXPECT_FALSE(put(path, "new"));
    EXPECT_EQ(contentsOf(path), "old");
    EXPECT_FALSE(put(path + Suffix, "a directory is in the way"));
    EXPECT_EQ(errno, EISDIR);
    EXPECT_FALSE(put(directory / "absent/file", "new"));
    EXPECT_EQ(directory.entries(), 2U);
}

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
