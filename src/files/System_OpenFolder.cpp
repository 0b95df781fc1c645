#include "files/System_OpenFolder.h"

#include "host/Host_Patience.h"

#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <memory>

System_OpenFolder::System_OpenFolder(int at, const char* name, bool follows) {
    const int flags = O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NONBLOCK | (follows ? 0 : O_NOFOLLOW);
    descriptor_.reset(openat(at, name, flags | O_NOATIME));
    // Only its owner and root may read a directory without a trace.
    if (descriptor_ || errno != EPERM)
        return;
    descriptor_.reset(openat(at, name, flags));
    struct stat status {};
    if (descriptor_ && fstat(descriptor_.get(), &status) == 0)
        accessTime_ = status.st_atim;
}

System_OpenFolder System_OpenFolder::atPath(const std::string& path) {
    using Opened = std::shared_ptr<System_OpenFolder>;
    const Host_Answer<Opened> opened =
        Host_AskWithin<Opened>(System_Patience, path, [path]() -> Host_Answer<Opened> {
            System_OpenFolder folder(AT_FDCWD, path.c_str(), true);
            if (!folder)
                return Host_Answer<Opened>::failure(errno);
            return std::make_shared<System_OpenFolder>(std::move(folder));
        });
    if (opened)
        return std::move(**opened);
    errno = opened.error();
    return {};
}

bool System_OpenFolder::fill(System_FolderBuffer& buffer) {
    at_ = 0;
    length_ = 0;
    const ssize_t length = getdents64(descriptor_.get(), buffer.data(), buffer.size());
    if (length < 0)
        error_ = errno;
    else
        length_ = static_cast<std::size_t>(length);
    return length_ != 0;
}

std::optional<std::string_view> System_OpenFolder::next(System_FolderBuffer& buffer) {
    while (at_ < length_ || fill(buffer)) {
        const auto* entry = reinterpret_cast<const dirent64*>(buffer.data() + at_);
        at_ += entry->d_reclen;
        const std::string_view name = entry->d_name;
        if (name != "." && name != "..")
            return name;
    }
    return std::nullopt;
}

bool System_OpenFolder::restoreTime() const {
    if (!accessTime_)
        return true;
    timespec keep{};
    keep.tv_nsec = UTIME_OMIT;
    const timespec times[] = {*accessTime_, keep};
    return futimens(descriptor_.get(), times) == 0;
}
