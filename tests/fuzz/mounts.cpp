/// What mount(8), /etc/raidtab and lvdisplay(8) say of mounts, with a zero byte behind each.

#include "files/System_MountPointMapLinux.h"
#include "host/Host_RecordedHost.h"
#include "target.h"

namespace {

std::string take(std::string& text) {
    const std::string first = text.substr(0, text.find('\0'));
    text.erase(0, first.size() + 1);
    return first;
}

} // namespace

void fuzz(std::string_view input) {
    std::string text(input);
    const std::string mounts = take(text);
    const std::string raidtab = take(text);
    Host_RecordedHost host({{{{"command", "mount"}, Host_Words{mounts}},
                             {{"file", "/etc/raidtab"}, Host_Words{raidtab}},
                             {{"command", "lvdisplay -v /dev/md0"}, Host_Words{take(text)}}}});
    System_MountPointMapLinux map;
    map.setHost(host);
    require(map.prepareForAudit() && map.audit());
    for (const auto& point : *map.getMountPointVector()) {
        const std::vector<std::string>& devices = point->devices();
        require(point->mountPoint.front() == '/' && !point->fileSystemType.empty() &&
                map.getMountPointMapMP()->count(point->mountPoint) != 0);
        require(devices.empty() || point->isRaid() || point->isLVM());
        require(devices.empty() || !point->isLVM() || point->checkLVMDevices(devices.back()));
    }
}
