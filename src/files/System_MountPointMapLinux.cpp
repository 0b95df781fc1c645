#include "files/System_MountPointMapLinux.h"

#include "host/Host_Host.h"
#include "log/Debug_Printf.h"
#include "model/System_Allocate.h"

#include <algorithm>
#include <optional>

namespace {

constexpr std::string_view blanks = " \t";

/// Takes the word at the front of the text, which is empty if a blank is there, and leaves what follows it.
std::string_view takeWord(std::string_view& text) {
    const std::string_view word = text.substr(0, text.find_first_of(blanks));
    text.remove_prefix(word.size());
    return word;
}

bool skipBlanks(std::string_view& text) {
    text.remove_prefix(std::min(text.find_first_not_of(blanks), text.size()));
    return !text.empty();
}

} // namespace

bool System_MountPointMapLinux::prepareForAudit() {
    deallocateMountPoints();
    return true;
}

bool System_MountPointMapLinux::cleanupAfterAudit() {
    deallocateMountPoints();
    return true;
}

void System_MountPointMapLinux::deallocateMountPoints() {
    byMountPoint_.clear();
    byDevice_.clear();
    points_.clear();
}

bool System_MountPointMapLinux::audit() {
    const Host_Answer<std::string> output = getHost().run("mount");
    if (!output) {
        DEBUG_LOG("System_MountPointMapLinux::audit - mount command failed\n");
        return false;
    }
    std::string_view rest = *output;
    while (!rest.empty()) {
        const std::string_view line = rest.substr(0, rest.find_first_of("\r\n"));
        rest.remove_prefix(line.size());
        rest.remove_prefix(rest.starts_with("\r\n") ? 2 : std::min<std::size_t>(1, rest.size()));
        if (!read(line))
            break;
    }
    DEBUG_LOG("System_MountPointMapLinux::audit size: %u\n", static_cast<unsigned>(points_.size()));
    setAuditResult(true);
    return true;
}

/// "/dev/sda1 on / type ext4 (rw)". False if the line has another form.
bool System_MountPointMapLinux::read(std::string_view line) {
    const std::string_view device = takeWord(line);
    const std::size_t slash = line.find('/');
    if (slash == std::string_view::npos)
        return false;
    line.remove_prefix(slash);
    const std::string_view mountPoint = takeWord(line);
    const bool hasType = skipBlanks(line) && !takeWord(line).empty() && skipBlanks(line);
    if (!hasType)
        return false;
    const std::string_view type = takeWord(line);
    System_MountPointLinux& point = *points_.emplace_back(std::make_unique<System_MountPointLinux>(
        getHost(), std::string(mountPoint), std::string(device), std::string(type)));
    DEBUG_LOG("System_MountPointMapLinux::audit parsed: device: %s, mount point: %s, fstype: %s\n",
              point.device.c_str(), point.mountPoint.c_str(), point.fileSystemType.c_str());
    // Who reads the log wants to know.
    DEBUG_LOG("System_MountPointMapLinux::audit Evaluating RAID setting for %s - %d\n", point.device.c_str(),
              static_cast<int>(point.evaluateRaid()));
    DEBUG_LOG("System_MountPointMapLinux::audit Evaluating LVM setting for %s - %d\n", point.device.c_str(),
              static_cast<int>(point.evaluateLVM()));
    byMountPoint_.emplace(point.mountPoint, &point);
    byDevice_.emplace(point.device, &point);
    return true;
}

void System_MountPointObjectLinux::registerMountPointMap(System_MountPointMapLinux* map) {
    map_ = map;
    own_.reset();
}

bool System_MountPointObjectLinux::prepareForAudit() {
    if (map_ == nullptr) {
        own_ = System_Allocate<System_MountPointMapLinux, System_MountPointMapLinux>();
        map_ = own_.get();
        if (map_ == nullptr) {
            DEBUG_LOG("System_MountPointObjectLinux::prepareForAudit: failed to allocate "
                      "System_MountPointMapLinux\n");
            return false;
        }
        own_->setHost(getHost());
    }
    if (!own_ || (own_->prepareForAudit() && own_->audit()))
        return true;
    own_->cleanupAfterAudit();
    DEBUG_LOG("System_MountPointObjectLinux::prepareForAudit: audit failed\n");
    return false;
}

bool System_MountPointObjectLinux::cleanupAfterAudit() {
    if (own_) {
        own_->cleanupAfterAudit();
        own_.reset();
        map_ = nullptr;
    }
    return true;
}
