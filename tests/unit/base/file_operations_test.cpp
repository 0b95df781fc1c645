#include "base/File_Descriptor.h"
#include "base/File_Operations.h"
#include "base/Temporary_Directory.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace {

mode_t modeOf(const std::string& path) {
    struct stat status {};
    EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777;
}

std::string ownName() {
    return getpwuid(getuid())->pw_name;
}

bool save(const std::string& path, const std::string& contents, unsigned permissions,
          const std::string& user) {
    std::size_t count = 99;
    const bool saved = File_Save(path.c_str(), permissions, File_FlagCreate, user.c_str(), contents.data(),
                                 contents.size(), count);
    EXPECT_TRUE(!saved || count == contents.size());
    return saved;
}

} // namespace

TEST(FileOperations, OpenFollowsAccessAndFlags) {
    const Temporary_Directory directory;
    const std::string path = directory / "file";
    EXPECT_EQ(File_Open(path.c_str(), File_AccessRead, 0), -1);
    EXPECT_EQ(errno, ENOENT);

    const mode_t before = umask(0);
    const File_Descriptor created(File_Open(path.c_str(), File_AccessRead, File_FlagCreate));
    umask(before);
    ASSERT_TRUE(created);
    EXPECT_EQ(modeOf(path), 0660U);
    EXPECT_NE(fcntl(created.get(), F_GETFD) & FD_CLOEXEC, 0);
    std::size_t count = 7;
    EXPECT_FALSE(File_Write(created.get(), "x", 1, count));
    EXPECT_EQ(count, 0U);
    EXPECT_EQ(File_Open(path.c_str(), File_AccessWrite, File_FlagCreate | File_FlagExclusive), -1);

    putContents(path, "12345");
    const File_Descriptor both(File_Open(path.c_str(), File_AccessRead | File_AccessWrite, 0));
    char buffer[8] = {};
    EXPECT_TRUE(File_Read(both.get(), buffer, sizeof(buffer), count));
    EXPECT_EQ(std::string(buffer, count), "12345");
    EXPECT_TRUE(File_Read(both.get(), buffer, sizeof(buffer), count));
    EXPECT_EQ(count, 0U);
    EXPECT_TRUE(File_Write(both.get(), "6", 1, count));

    int writing = File_Open(path.c_str(), File_AccessWrite, File_FlagTruncate);
    EXPECT_EQ(contentsOf(path), "");
    EXPECT_FALSE(File_Read(writing, buffer, sizeof(buffer), count));
    EXPECT_TRUE(File_Close(writing));
    EXPECT_EQ(writing, -1);
    EXPECT_FALSE(File_Close(writing));
}

TEST(FileOperations, WriteGivesUpOnADeviceThatTakesNothing) {
    const File_Descriptor full(File_Open("/dev/full", File_AccessWrite, 0));
    std::size_t count = 1;
    EXPECT_FALSE(File_Write(full.get(), "abc", 3, count));
    EXPECT_EQ(count, 0U);
    EXPECT_EQ(errno, ENOSPC);
    EXPECT_TRUE(File_Write(full.get(), "", 0, count));
}

TEST(FileOperations, SeekKnowsThreeMethods) {
    const Temporary_Directory directory;
    putContents(directory / "file", "0123456789");
    const File_Descriptor file(File_Open((directory / "file").c_str(), File_AccessRead, 0));
    std::uint64_t position = 0;
    EXPECT_TRUE(File_Seek(file.get(), 4, position, File_SeekFromStart));
    EXPECT_EQ(position, 4U);
    EXPECT_TRUE(File_Seek(file.get(), -1, position, File_SeekFromCurrent));
    EXPECT_EQ(position, 3U);
    EXPECT_TRUE(File_Seek(file.get(), 5000000000, position, File_SeekFromEnd));
    EXPECT_EQ(position, 5000000010U);
    EXPECT_FALSE(File_Seek(file.get(), -1, position, File_SeekFromStart));
    EXPECT_EQ(position, 5000000010U);
}

TEST(FileOperations, RenameReplacesAndKeepsTheTargetIfThereIsNothingToRename) {
    const Temporary_Directory directory;
    const std::string from = directory / "from";
    const std::string to = directory / "to";
    putContents(from, "new");
    putContents(to, "old");
    EXPECT_TRUE(File_Rename(from.c_str(), to.c_str()));
    EXPECT_EQ(contentsOf(to), "new");
    EXPECT_FALSE(File_Exists(from.c_str()));
    EXPECT_FALSE(File_Rename(from.c_str(), to.c_str()));
    EXPECT_EQ(contentsOf(to), "new");
    EXPECT_TRUE(File_Delete(to.c_str()));
    EXPECT_FALSE(File_Delete(to.c_str()));
}

TEST(FileOperations, Directories) {
    const Temporary_Directory directory;
    const std::string path = directory / "sub";
    const std::string file = directory / "file";
    putContents(file, "");
    EXPECT_TRUE(File_CreateDirectory(path.c_str()));
    EXPECT_TRUE(File_CreateDirectory(path.c_str()));
    EXPECT_FALSE(File_CreateDirectory(file.c_str()));
    EXPECT_FALSE(File_CreateDirectory((directory / "absent/sub").c_str()));
    EXPECT_EQ(modeOf(path) & 07007, 0U);
    EXPECT_TRUE(File_IsDirectory(path.c_str()));
    EXPECT_FALSE(File_IsDirectory(file.c_str()));
    EXPECT_TRUE(File_Exists(file.c_str()));
    EXPECT_NE(File_Chdir(file.c_str()), 0);
    const std::string before = std::filesystem::current_path();
    EXPECT_EQ(File_Chdir(path.c_str()), 0);
    EXPECT_EQ(std::filesystem::current_path(), path);
    EXPECT_EQ(File_Chdir(before.c_str()), 0);
}

TEST(FileOperations, SaveLeavesAFileForItsOwnerOnly) {
    const Temporary_Directory directory;
    const std::string path = directory / "script.sh";
    const struct {
        unsigned permissions;
        mode_t mode;
    } cases[] = {{File_PermissionRead, 0400},
                 {File_PermissionWrite, 0200},
                 {File_PermissionRead | File_PermissionExecute, 0500},
                 {File_PermissionRead | File_PermissionWrite | File_PermissionExecute, 0700}};
    for (const auto& c : cases) {
        ASSERT_TRUE(save(path, "echo a longer text\n", c.permissions, ownName()));
        EXPECT_EQ(modeOf(path), c.mode);
        File_Delete(path.c_str());
    }
    ASSERT_TRUE(save(path, "echo a longer text\n", 7, ownName()));
    ASSERT_TRUE(save(path, "echo\n", 7, ownName()));
    EXPECT_EQ(contentsOf(path), "echo\n");
}

TEST(FileOperations, SaveThatFailsLeavesNoFile) {
    const Temporary_Directory directory;
    const std::string path = directory / "script.sh";
    EXPECT_FALSE(save(path, "text", File_PermissionRead, "no such user"));
    EXPECT_EQ(directory.entries(), 0U);
    EXPECT_FALSE(save(directory / "absent/script.sh", "text", File_PermissionRead, ownName()));
    EXPECT_EQ(errno, ENOENT);
    std::size_t count = 1;
    putContents(path, "old");
    EXPECT_FALSE(File_Save(path.c_str(), File_PermissionRead, File_FlagCreate | File_FlagExclusive,
                           ownName().c_str(), "new", 3, count));
    EXPECT_EQ(contentsOf(path), "old");
}

TEST(FileOperations, SaveGivesTheFileToAnotherUser) {
    const passwd* other = getpwnam("nobody");
    if (geteuid() != 0 || other == nullptr)
        GTEST_SKIP() << "needs root and the user nobody";
    const uid_t uid = other->pw_uid;
    const gid_t gid = other->pw_gid;
    const Temporary_Directory directory;
    const std::string path = directory / "script.sh";
    ASSERT_TRUE(save(path, "text", File_PermissionRead, "nobody"));
    struct stat status {};
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, uid);
    EXPECT_EQ(status.st_gid, gid);
    EXPECT_EQ(File_Get_File_Owner(path.c_str()), "nobody");

    ASSERT_TRUE(File_SetFileSecurity(path.c_str(), "root", File_PermissionWrite));
    EXPECT_EQ(File_Get_File_Owner(path.c_str()), "root");
    EXPECT_EQ(modeOf(path), 0200U);
    ASSERT_EQ(chown(path.c_str(), 65536 + 54321, 0), 0);
    EXPECT_EQ(File_Get_File_Owner(path.c_str()), "54321");
}

TEST(FileOperations, OwnerOfAnAbsentFileIsUnknown) {
    EXPECT_EQ(File_Get_File_Owner("/nonexistent/file"), "unknown");
    EXPECT_FALSE(File_SetFileSecurity("/nonexistent/file", ownName().c_str(), File_PermissionRead));
    EXPECT_EQ(errno, ENOENT);
}
