#include "exec/Private_Host.h"

#include "base/Temporary_Directory.h"
#include "exec/ShellCommand_Quote.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <pwd.h>
#include <sched.h>
#include <string>
#include <sys/mount.h>
#include <unistd.h>

namespace {

bool runs(const std::string& command) {
    const int status = std::system(command.c_str()); // NOLINT(cert-env33-c): the tools of the host are wanted
    return status == 0;
}

bool copyEtcAside() {
    if (!Private_Host::isRoot() || unshare(CLONE_NEWNS) != 0 ||
        mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
        return false;
    const Temporary_Directory copy;
    if (!Private_Host::mountMemory(copy.path(), std::size_t{64} << 20))
        return false;
    const bool done = runs("cp -a /etc/. " + copy.path()) && runs("chmod 755 " + copy.path()) &&
                      mount(copy.path().c_str(), "/etc", nullptr, MS_BIND, nullptr) == 0;
    umount2(copy.path().c_str(), MNT_DETACH);
    return done;
}

} // namespace

bool Private_Host::isRoot() {
    return geteuid() == 0;
}

bool Private_Host::enter() {
    static const bool entered = copyEtcAside();
    return entered;
}

bool Private_Host::mountMemory(const std::string& directory, std::size_t bytes) {
    const std::string size = "size=" + std::to_string(bytes);
    return mount("tmpfs", directory.c_str(), "tmpfs", 0, size.c_str()) == 0;
}

void Private_Host::setLoginService(const std::string& lines) {
    putContents("/etc/pam.d/login", lines);
}

System_User::System_User(const std::string& password, const std::string& options) {
    static int count = 0;
    name_ = "qdv" + std::to_string(getpid()) + "x" + std::to_string(++count);
    EXPECT_TRUE(runs("useradd -M " + options + " " + name_));
    EXPECT_TRUE(runs("printf '%s\\n' " + ShellCommand_Quote(name_ + ":" + password) + " | chpasswd"));
    const passwd* entry = getpwnam(name_.c_str());
    EXPECT_NE(entry, nullptr);
    if (entry != nullptr) {
        uid_ = entry->pw_uid;
        gid_ = entry->pw_gid;
    }
}

System_User::~System_User() {
    EXPECT_TRUE(runs("userdel " + name_));
}
