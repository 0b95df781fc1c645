#pragma once

#include <string>

/// The test process's own view of /etc: a copy that only it and its children see, so that users and PAM
/// services come and go without a trace. Needs root and the right to mount.
namespace Private_Host {

bool isRoot();

/// Makes the copy on first use, for the whole process. False where that is not allowed.
bool enter();

/// Mounts an empty file system of that many bytes, private likewise. False where that is not allowed.
bool mountMemory(const std::string& directory, std::size_t bytes);

/// Replaces the PAM service that the agent uses.
void setLoginService(const std::string& lines);

} // namespace Private_Host

/// A system user with a home that does not exist; made with useradd and removed again. Without a private /etc
/// it is a real user of the host meanwhile.
class System_User {
public:
    explicit System_User(const std::string& password, const std::string& options = "-s /bin/sh");
    System_User(const System_User&) = delete;
    System_User& operator=(const System_User&) = delete;
    ~System_User();

    const char* name() const { return name_.c_str(); }
    unsigned uid() const { return uid_; }
    unsigned gid() const { return gid_; }

private:
    std::string name_;
    unsigned uid_ = 0;
    unsigned gid_ = 0;
};
