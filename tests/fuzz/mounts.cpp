/// What mount(8), /etc/raidtab and lvdisplay(8) say of mounts, with a zero byte behind each.

#include "files/System_MountPointMapLinux.h"
#include "host/Host_RecordedHost.h"

#include <cstdlib>
#include <string>

namespace {

std::string take(std::string& text) {
    const std::string first = text.substr(0, text.find('\0'));
    text.erase(0, first.size() + 1);
    return first;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    std::string text(reinterpret_cast<const char*>(data), size);
    const std::string mounts = take(text);
    const std::string raidtab = take(text);
    Host_RecordedHost host({{{{"command", "mount"}, Host_Words{mounts}},
                             {{"file", "/etc/raidtab"}, Host_Words{raidtab}},
                             {{"command", "lvdisplay -v /dev/md0"}, Host_Words{take(text)}}}});
    System_MountPointMapLinux map;
    map.setHost(host);
    if (!map.prepareForAudit() || !map.audit())
        std::abort();
    for (const auto& point : *map.getMountPointVector()) {
        const std::vector<std::string>& devices = point->devices();
        if (point->mountPoint.front() != '/' || point->fileSystemType.empty() ||
            map.getMountPointMapMP()->count(point->mountPoint) == 0 ||
            (!devices.empty() && !point->isRaid() && !point->isLVM()) ||
            (point->isLVM() && !devices.empty() && !point->checkLVMDevices(devices.back())))
            std::abort();
    }
    return 0;
}
