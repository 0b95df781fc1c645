#include "base/File_Descriptor.h"
#include "base/File_Operations.h"
#include "base/Temporary_Directory.h"
#include "base/User_Account.h"

#include <cerrno>
#include <fcntl.h>
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
    return User_NameOrNumber(geteuid());
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
    std::uint64_t position = 0;
    EXPECT_TRUE(File_Seek(both.get(), -1, position, File_SeekFromCurrent));
    EXPECT_EQ(position, 4U);
    EXPECT_TRUE(File_Seek(both.get(), 5000000000, position, File_SeekFromEnd));
    EXPECT_EQ(position, 5000000005U);
    EXPECT_FALSE(File_Seek(both.get(), -1, position, File_SeekFromStart));
    EXPECT_EQ(position, 5000000005U);
    EXPECT_TRUE(File_Read(both.get(), buffer, sizeof(buffer), count));
    EXPECT_EQ(count, 0U);

    int writing = File_Open(path.c_str(), File_AccessWrite, File_FlagTruncate);
    EXPECT_EQ(contentsOf(path), "");
    EXPECT_TRUE(File_Close(writing));
    EXPECT_FALSE(File_Close(writing));

    const File_Descriptor full(File_Open("/dev/full", File_AccessWrite, 0));
    EXPECT_FALSE(File_Write(full.get(), "abc", 3, count));
    EXPECT_EQ(count, 0U);
    EXPECT_EQ(errno, ENOSPC);
}

TEST(FileOperations, NamesAndDirectories) {
    const Temporary_Directory directory;
    const std::string path = directory / "sub";
    const std::string from = directory / "from";
    const std::string file = directory / "file";
    putContents(from, "new");
    putContents(file, "old");
    EXPECT_TRUE(File_Rename(from.c_str(), file.c_str()));
    EXPECT_FALSE(File_Rename(from.c_str(), file.c_str()));
    EXPECT_EQ(contentsOf(file), "new") << "and it stays if there is nothing to rename";
    EXPECT_TRUE(File_CreateDirectory(path.c_str()));
    EXPECT_TRUE(File_CreateDirectory(path.c_str()));
    EXPECT_FALSE(File_CreateDirectory(file.c_str()));
    EXPECT_EQ(modeOf(path) & 07007, 0U);
    EXPECT_TRUE(File_IsDirectory(path.c_str()));
    EXPECT_FALSE(File_IsDirectory(file.c_str()));
    EXPECT_NE(File_Chdir(file.c_str()), 0);
    EXPECT_TRUE(File_Delete(file.c_str()));
    EXPECT_FALSE(File_Exists(file.c_str()));
    EXPECT_EQ(File_Get_File_Owner(file.c_str()), "unknown");
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
    EXPECT_FALSE(save(path, "text", File_PermissionRead, "no such user"));
    EXPECT_EQ(contentsOf(path), "echo\n");
    ASSERT_EQ(mkfifo((directory / "pipe").c_str(), 0600), 0);
    EXPECT_FALSE(save(directory / "pipe", "text", 7, ownName()));
    EXPECT_EQ(errno, EEXIST);
    EXPECT_EQ(directory.entries(), 2U);
}

TEST(FileOperations, FilesOfOtherUsers) {
    const auto nobody = User_FindByName("nobody");
    if (geteuid() != 0 || !nobody)
        GTEST_SKIP() << "needs root and the user nobody";
    const Temporary_Directory directory;
    const std::string path = directory / "script.sh";
    ASSERT_TRUE(save(path, "text", File_PermissionRead, "nobody"));
    struct stat status {};
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_gid, nobody->gid);
    EXPECT_EQ(File_Get_File_Owner(path.c_str()), "nobody");
    ASSERT_TRUE(File_SetFileSecurity(path.c_str(), "root", File_PermissionWrite));
    EXPECT_EQ(File_Get_File_Owner(path.c_str()), "root");
    EXPECT_EQ(modeOf(path), 0200U);
    ASSERT_EQ(chown(path.c_str(), 65536 + 54321, 0), 0);
    EXPECT_EQ(File_Get_File_Owner(path.c_str()), "54321");
}
