#include "files/System_FileSystemObjectLinux.h"

#include "base/File_Descriptor.h"
#include "files/System_FileIteratorLinux.h"
#include "files/System_FileSystemType.h"
#include "files/System_OpenFolder.h"
#include "files/System_TimeWindow.h"
#include "host/Host_Patience.h"
#include "log/Debug_Printf.h"
#include "model/System_Allocate.h"

#include <cerrno>
#include <fcntl.h>
#include <linux/openat2.h>
#include <memory>
#include <sys/statfs.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

/// The first second of the year 10000. Up to there each time has a date.
constexpr std::time_t endOfUsualTimes = 253'402'300'800;

bool isMissing(int error) {
    return error == ENOENT || error == ENOTDIR;
}

/// So many soft links may lead a walk to what does not answer. Then those that leave their file system are
/// asked about no more.
constexpr unsigned mostDeadLinks = 3;

using FileSystemType = Host_Answer<const char*>;

FileSystemType nameOf(const struct statfs& status) {
    return System_FileSystemTypeName(static_cast<std::uint32_t>(status.f_type));
}

FileSystemType typeOf(const File_Descriptor& found) {
    struct statfs status {};
    return found && fstatfs(found.get(), &status) == 0 ? nameOf(status) : FileSystemType::failure(errno);
}

FileSystemType typeAt(const std::string& path) {
    return Host_AskWithin<const char*>(System_Patience, path, [path] {
        struct statfs status {};
        return statfs(path.c_str(), &status) == 0 ? nameOf(status) : FileSystemType::failure(errno);
    });
}

/// Of what the soft link leads to. Within the file system that is being walked this is as sure to be answered
/// as the walk itself.
FileSystemType typeBehindLink(int folder, const std::string& name, const std::string& path,
                              unsigned& deadLinks) {
    open_how within{};
    within.flags = O_PATH | O_CLOEXEC;
    within.resolve = RESOLVE_NO_XDEV;
    const File_Descriptor found(
        static_cast<int>(syscall(SYS_openat2, folder, name.c_str(), &within, sizeof within)));
    // The last two of kernels and sandboxes that do not have the call.
    if (found || (errno != EXDEV && errno != ENOSYS && errno != EPERM))
        return typeOf(found);
    if (deadLinks >= mostDeadLinks)
        return FileSystemType::failure(ETIMEDOUT);
    const auto start = std::make_shared<const File_Descriptor>(fcntl(folder, F_DUPFD_CLOEXEC, 0));
    FileSystemType type = Host_AskWithin<const char*>(System_Patience, path, [start, name] {
        return typeOf(File_Descriptor(openat(start->get(), name.c_str(), O_PATH | O_CLOEXEC)));
    });
    deadLinks += type.error() == ETIMEDOUT ? 1 : 0;
    return type;
}

} // namespace

std::unique_ptr<System_FileSystemObject> System_FactoryAllocateFileSystemObject() {
    return System_Allocate<System_FileSystemObject, System_FileSystemObjectLinux>();
}

System_FileSystemObjectLinux::System_FileSystemObjectLinux() {
    setAllocatedCreateDT(System_FactoryAllocateDate());
    setAllocatedModifyDT(System_FactoryAllocateDate());
    setAllocatedAccessDT(System_FactoryAllocateDate());
}

bool System_FileSystemObjectLinux::fail() {
    DEBUG_LOG("System_FileSystemObjectLinux::audit: failed\n");
    return false;
}

bool System_FileSystemObjectLinux::failMissing(const char* call, int error) {
    if (isMissing(error))
        exists_ = Missing;
    if (error == ETIMEDOUT)
        DEBUG_LOG("System_FileSystemObjectLinux::audit: no answer: %s\n", path_.c_str());
    DEBUG_LOG("System_FileSystemObjectLinux::audit - %s failed: %s\n", call, path_.c_str());
    return fail();
}

bool System_FileSystemObjectLinux::audit() {
    exists_ = ExistenceUnknown;
    if (path_.empty()) {
        DEBUG_LOG("System_FileSystemObjectLinux::audit: getPath is empty\n");
        return fail();
    }
    const Host_Answer<struct stat> status = Host_AskWithin<struct stat>(
        System_Patience, path_, [path = path_]() -> Host_Answer<struct stat> {
            struct stat found {};
            return lstat(path.c_str(), &found) == 0 ? found : Host_Answer<struct stat>::failure(errno);
        });
    if (!status)
        return failMissing("lstat", status.error());
    found_.status = *status;
    std::string_view trimmed = path_;
    while (trimmed.size() > 1 && trimmed.ends_with('/'))
        trimmed.remove_suffix(1);
    name_ = trimmed.substr(trimmed.rfind('/') + 1);
    if (!take(found_.status) || !takeFileSystemType(nullptr))
        return false;
    if (isDirectory_ && recursionLevel_ != NoWalk)
        walk();
    setAuditResult(true);
    return true;
}

void System_FileSystemObjectLinux::enter(const System_WalkedFolder& folder) {
    path_ = folder.prefix;
    prefixLength_ = path_.size();
    parentDirPath_ = folder.path;
}

/// Makes the object stand for another entry of the directory.
void System_FileSystemObjectLinux::place(std::string_view name) {
    exists_ = ExistenceUnknown;
    path_.resize(prefixLength_);
    path_ += name;
    name_ = name;
}

bool System_FileSystemObjectLinux::auditEntry(const System_WalkedFolder& folder, std::string_view name) {
    place(name);
    if (fstatat(folder.descriptor, name_.c_str(), &found_.status, AT_SYMLINK_NOFOLLOW) != 0)
        return failMissing("lstat", errno);
    return takeFound(folder);
}

bool System_FileSystemObjectLinux::auditEntry(const System_WalkedFolder& folder, std::string_view name,
                                              const struct stat& status, int error) {
    place(name);
    if (error != 0)
        return failMissing("lstat", error);
    found_.status = status;
    return takeFound(folder);
}

bool System_FileSystemObjectLinux::takeFound(const System_WalkedFolder& folder) {
    if (!take(found_.status) || !takeFileSystemType(&folder))
        return false;
    setAuditResult(true);
    return true;
}

void System_FileSystemObjectLinux::take(std::string name, const System_FoundEntry& found,
                                        const System_FileSystemObjectLinux& finder) {
    name_ = std::move(name);
    ownerNames_ = finder.ownerNames_;
    setAllAttributes(finder.getAllAttributes());
    recursionLevel_ = finder.recursionLevel_;
    found_ = found;
    fsType_ = found.fileSystemType;
    take(found.status);
}

bool System_FileSystemObjectLinux::take(const struct stat& status) {
    exists_ = Exists;
    isDirectory_ = S_ISDIR(status.st_mode);
    isSoftLink_ = S_ISLNK(status.st_mode);
    inode_ = status.st_ino;
    inodeDevice_ = static_cast<std::uint32_t>(status.st_dev);
    owner_ = status.st_uid;
    groupId_ = status.st_gid;
    size_ = S_ISREG(status.st_mode) || isDirectory_ || isSoftLink_
                ? static_cast<std::uint64_t>(status.st_size)
                : 0;
    modifyTime_ = status.st_mtime;
    accessTime_ = status.st_atime;
    unread_ = {true, true, true, true};
    return (isCalendarTime(modifyTime_, "modifyDT") && isCalendarTime(accessTime_, "accessDT")) || fail();
}

bool System_FileSystemObjectLinux::isCalendarTime(std::time_t time, const char* which) const {
    std::tm fields{};
    if ((time >= 0 && time < endOfUsualTimes) || gmtime_r(&time, &fields) != nullptr)
        return true;
    DEBUG_LOG("System_FileSystemObjectLinux::audit: failed gmtime_r(%s) for %s\n", which, path_.c_str());
    return false;
}

bool System_FileSystemObjectLinux::takeFileSystemType(const System_WalkedFolder* folder) {
    // A soft link is asked about for itself, which shows whether it leads anywhere.
    const bool isKnownByDevice = folder != nullptr && !isSoftLink_;
    if (isKnownByDevice) {
        const auto known = fileSystemTypes_.find(found_.status.st_dev);
        if (known != fileSystemTypes_.end()) {
            fsType_ = found_.fileSystemType = known->second;
            return true;
        }
    }
    const FileSystemType type = folder == nullptr ? typeAt(path_)
                                : isSoftLink_
                                    ? typeBehindLink(folder->descriptor, name_, path_, deadLinks_)
                                    : typeOf(File_Descriptor(openat(folder->descriptor, name_.c_str(),
                                                                    O_PATH | O_CLOEXEC | O_NOFOLLOW)));
    if (!type)
        return failMissing("statfs", type.error());
    if (isKnownByDevice)
        fileSystemTypes_.emplace(found_.status.st_dev, *type);
    fsType_ = found_.fileSystemType = *type;
    return true;
}

void System_FileSystemObjectLinux::walk() {
    System_FileIteratorLinux iterator;
    iterator.copyAuditParameters(this);
    iterator.setFSOMapRequired(true);
    iterator.setRecursionLevel(recursionLevel_);
    iterator.setSkipMethod(System_FileIteratorLinux::SkipUnsupported);
    iterator.registerPath(path_.c_str());
    iterator.registerFileEvaluator(this);
    iterator.registerIterationTerminator(this);
    const bool isPrepared = iterator.prepareForAudit();
    if (!isPrepared || !iterator.audit())
        DEBUG_LOG("System_FileSystemObjectLinux::audit: failed fileIterator audit %s\n", path_.c_str());
    if (isPrepared && !iterator.cleanupAfterAudit())
        DEBUG_LOG("System_FileSystemObjectLinux::audit: failed fileIterator cleanupAfterAudit %s\n",
                  path_.c_str());
}

bool System_FileSystemObjectLinux::evaluateFile(System_FileSystemObject* fso, System_Date* sDay,
                                                System_Date* eDay) {
    if (fso == nullptr) {
        DEBUG_LOG("System_FileSystemObjectLinux::evaluateFile: fso is NULL\n");
        return false;
    }
    if (sDay == nullptr || eDay == nullptr) {
        DEBUG_LOG("System_FileSystemObjectLinux::evaluateFile: sDay or eDay is NULL for %s\n",
                  fso->getPath());
        return false;
    }
    window_.set(*sDay, *eDay);
    const bool isDirectory = fso->getIsDirectory();
    const bool countsAccess = !fso->getIsSoftLink();
    if (!count(*fso, isDirectory ? recursiveDirs : recursiveFiles, countsAccess))
        return false;
    counters_[SizeRecursive] += fso->getSize();
    const std::string_view place = fso->getPath();
    if (!place.starts_with(path_) || place.size() <= path_.size()) {
        DEBUG_LOG("System_FileSystemObjectLinux::evaluateFile: paths do not match %s %s\n", place.data(),
                  path_.c_str());
        return false;
    }
    if (place.find('/', path_.size() + 1) != std::string_view::npos)
        return true;
    if (!count(*fso, isDirectory ? directDirs : directFiles, true))
        return false;
    if (!keepsChildren_)
        return true;
    std::unique_ptr<System_FileSystemObject> copy = System_FactoryAllocateFileSystemObject();
    if (!copy) {
        DEBUG_LOG("System_FileSystemObjectLinux::evaluateFile: failed to allocate fsoCopy for %s\n",
                  place.data());
        return false;
    }
    *copy = *fso;
    copy->setSizeRecursive(0);
    copy->setNumFilesRecursive(0);
    copy->setNumDirsRecursive(0);
    children_.push_back(std::move(copy));
    return true;
}

bool System_FileSystemObjectLinux::count(const System_FileSystemObject& member, const MemberCounters& which,
                                         bool countsAccess) {
    ++counters_.at(which.all);
    if ((member.getAttributeFlag() & Archived) != 0)
        ++counters_.at(which.archived);
    const std::optional<bool> isModified = member.isModifiedWithin(window_);
    if (!isModified) {
        DEBUG_LOG("System_FileSystemObjectLinux::evaluateFile: failed getModifyDT for %s\n",
                  member.getPath());
        return false;
    }
    counters_.at(which.modified) += *isModified ? 1 : 0;
    if (!countsAccess)
        return true;
    const std::optional<bool> isAccessed = member.isAccessedWithin(window_);
    if (!isAccessed) {
        DEBUG_LOG("System_FileSystemObjectLinux::evaluateFile: failed getAccessDT for %s\n",
                  member.getPath());
        return false;
    }
    counters_.at(which.accessed) += *isAccessed ? 1 : 0;
    return true;
}

bool System_FileSystemObjectLinux::serialize(xercesc::DOMDocument* document, xercesc::DOMElement* parent) {
    return serialize(document, parent, nullptr);
}
