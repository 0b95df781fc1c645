#include "host/Host_HostLinux.h"

#include "base/File_Contents.h"
#include "date/System_Date.h"
#include "exec/ShellCommand_Execute.h"
#include "host/Host_DeviceLinux.h"
#include "host/Host_Patience.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <ctime>
#include <dirent.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/vfs.h>
#include <unistd.h>

namespace {

/// A file system that has not answered by then is taken for dead.
constexpr std::chrono::seconds patience{5};
/// Far beyond any file of the kernel's.
constexpr std::size_t largestFile = std::size_t{16} << 20;
/// Longer than any name that the kernel keeps; the last byte stays zero.
constexpr std::size_t nameBufferSize = 256;

template <typename Value>
Host_Answer<Value> failed() {
    return Host_Answer<Value>::failure(errno);
}

/// What the kernel tells of itself does not hang, but for arrays, whose lock may be held. A thread for each
/// of the many questions about devices would cost more than the answers.
bool isOfKernel(const std::string& path) {
    return (path.starts_with("/sys/block") || path.starts_with("/run/udev/")) &&
           path.find("/md/") == std::string::npos && path.find("..") == std::string::npos;
}

/// Asks `ask` about the path, with patience.
template <typename Value>
Host_Answer<Value> askAbout(const std::string& path, Host_Answer<Value> (*ask)(const std::string& path)) {
    if (isOfKernel(path))
        return ask(path);
    return Host_AskWithin<Value>(patience, path, [ask, path] { return ask(path); });
}

Host_Answer<std::string> contentsOf(const std::string& path) {
    std::string contents;
    if (!File_ReadWhole(path.c_str(), contents, largestFile))
        return failed<std::string>();
    return contents;
}

Host_Answer<std::vector<std::string>> namesIn(const std::string& path) {
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir(path.c_str()), closedir);
    if (!folder)
        return failed<std::vector<std::string>>();
    std::vector<std::string> names;
    for (;;) {
        errno = 0;
        const dirent* entry =
            readdir(folder.get()); // NOLINT(concurrency-mt-unsafe): nobody else has the folder
        if (entry == nullptr)
            break;
        const std::string name = entry->d_name;
        if (name != "." && name != "..")
            names.push_back(name);
    }
    if (errno != 0)
        return failed<std::vector<std::string>>();
    std::sort(names.begin(), names.end());
    return names;
}

Host_Answer<std::string> targetOf(const std::string& path) {
    std::array<char, PATH_MAX> target; // NOLINT(cppcoreguidelines-pro-type-member-init): written by readlink
    const ssize_t length = readlink(path.c_str(), target.data(), target.size());
    if (length < 0)
        return failed<std::string>();
    return std::string(target.data(), static_cast<std::size_t>(length));
}

Host_Node::Kind kindOf(mode_t mode) {
    switch (mode & S_IFMT) {
    case S_IFREG:
        return Host_Node::File;
    case S_IFDIR:
        return Host_Node::Folder;
    case S_IFBLK:
        return Host_Node::Block;
    case S_IFCHR:
        return Host_Node::Character;
    default:
        return Host_Node::Other;
    }
}

Host_Answer<Host_Node> nodeAt(const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0)
        return failed<Host_Node>();
    Host_Node node{kindOf(status.st_mode)};
    if (node.kind == Host_Node::Block || node.kind == Host_Node::Character) {
        node.major = major(status.st_rdev);
        node.minor = minor(status.st_rdev);
    }
    return node;
}

Host_Answer<Host_FileSystem> fileSystemAt(const std::string& path) {
    struct statfs status {};
    if (statfs(path.c_str(), &status) != 0)
        return failed<Host_FileSystem>();
    return Host_FileSystem{static_cast<std::uint64_t>(status.f_bsize),
                           status.f_blocks,
                           status.f_bfree,
                           status.f_bavail,
                           status.f_files,
                           status.f_ffree};
}

/// What gethostname and its kin write.
Host_Answer<std::string> nameBy(int (*call)(char*, std::size_t)) {
    char name[nameBufferSize] = {};
    if (call(name, sizeof name - 1) != 0)
        return failed<std::string>();
    return std::string(name);
}

} // namespace

Host_Answer<std::string> Host_HostLinux::runWithin(const std::string& command, const Host_Limits& limits) {
    ShellCommand_Limits within;
    within.runTime = limits.time;
    within.stop = limits.stop;
    const std::optional<std::string> output = ShellCommand_Output(command, within);
    return output ? Host_Answer(*output) : failed<std::string>();
}

Host_Answer<std::string> Host_HostLinux::readFile(const std::string& path) {
    return askAbout(path, contentsOf);
}

Host_Answer<std::vector<std::string>> Host_HostLinux::listFolder(const std::string& path) {
    return askAbout(path, namesIn);
}

Host_Answer<std::string> Host_HostLinux::readLink(const std::string& path) {
    return askAbout(path, targetOf);
}

Host_Answer<Host_Node> Host_HostLinux::node(const std::string& path) {
    return askAbout(path, nodeAt);
}

Host_Answer<Host_FileSystem> Host_HostLinux::fileSystem(const std::string& mountPoint) {
    return askAbout(mountPoint, fileSystemAt);
}

Host_Answer<std::unique_ptr<Host_Device>> Host_HostLinux::openDevice(const std::string& path) {
    return Host_DeviceLinux::open(path);
}

Host_Answer<std::string> Host_HostLinux::hostName() {
    return nameBy(gethostname);
}

Host_Answer<std::string> Host_HostLinux::domainName() {
    return nameBy(getdomainname);
}

Host_Answer<int> Host_HostLinux::gmtOffset() {
    int minutes = 0;
    if (!System_FactoryAllocateDate()->gmtOffset(minutes))
        return Host_Answer<int>::failure(EOVERFLOW);
    return minutes;
}

Host_Answer<bool> Host_HostLinux::daylightSaving() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    if (localtime_r(&now, &local) == nullptr)
        return failed<bool>();
    return local.tm_isdst >= 1;
}

Host_Host& Host_Real() {
    static Host_HostLinux host;
    return host;
}
