#include "storage/System_VxVMInfo.h"

#include "host/Host_Host.h"
#include "log/Debug_Printf.h"
#include "storage/System_VerifyUnixDiskDeviceFormat.h"

#include <set>

namespace {

constexpr const char* tool = "vxprint";
constexpr const char* command = "vxprint -t";
constexpr const char* deviceFolder = "/dev/vx/dsk/";

/// Shells and systems differ in how they say that a tool is missing; some say nothing.
bool isPath(const std::string& whichOutput) {
    return whichOutput.find_first_not_of(" \t\r\n") != std::string::npos &&
           whichOutput.find("not found") == std::string::npos &&
           whichOutput.find("no vxprint") == std::string::npos;
}

std::string deviceOf(const std::string& volume, const std::vector<std::string>& groups) {
    if (groups.size() == 1)
        return deviceFolder + groups.front() + '/' + volume;
    DEBUG_LOG("System_VxVMInfo::getDevicesOnDrive: multiple disk groups\n");
    return deviceFolder + volume;
}

} // namespace

bool System_VxVMInfo::audit() {
    const Host_Answer<std::string> path = getHost().run("which vxprint");
    if (!path)
        return false;
    installed_ = isPath(*path);
    if (!installed_) {
        DEBUG_LOG("System_VxVMInfo::audit '%s' not found\n", tool);
        setAuditResult(true);
        return true;
    }
    DEBUG_LOG("System_VxVMInfo::audit executing '%s'\n", command);
    const Host_Answer<std::string> output = getHost().run(command);
    return output && parser_.parse(output->c_str());
}

bool System_VxVMInfo::getDrives(std::vector<std::string>* out) const {
    if (!installed_)
        return true;
    std::vector<std::string> slices;
    if (!parser_.getValues(&slices, "DM", "DEVICE", nullptr))
        return false;
    std::set<std::string> drives;
    for (const std::string& slice : slices) {
        const std::size_t end = slice.find('s');
        if (!System_VerifyUnixDiskDeviceFormat(slice.c_str()) || end == std::string::npos) {
            DEBUG_LOG("System_VxVMInfo::getDrives: System_VerifyUnixDiskDeviceFormat failed\n");
            return false;
        }
        drives.insert(slice.substr(0, end));
    }
    out->insert(out->end(), drives.begin(), drives.end());
    return true;
}

bool System_VxVMInfo::getDevicesOnDrive(const char* drive, std::vector<std::string>* out) const {
    if (!installed_)
        return true;
    // From the drive to its subdisks, their plexes and the volumes of those.
    struct Step {
        const char* type;
        const char* from;
        const char* to;
    };
    constexpr Step steps[] = {{"SD", "DEVICE", "NAME"}, {"SD", "NAME", "PLEX"}, {"PL", "NAME", "VOLUME"}};
    std::vector<std::string> names = {drive};
    unsigned number = 0;
    for (const Step& step : steps) {
        ++number;
        std::vector<std::string> found;
        for (const std::string& name : names)
            if (!parser_.getValuesLookup(&found, step.type, step.from, name.c_str(), step.to, nullptr)) {
                DEBUG_LOG("System_VxVMInfo::getDevicesOnDrive: getValuesLookup failed %u\n", number);
                return false;
            }
        // A name that several rows tell is followed once.
        const std::set<std::string> distinct(found.begin(), found.end());
        names.assign(distinct.begin(), distinct.end());
    }
    for (const std::string& volume : names) {
        std::vector<std::string> groups;
        if (!parser_.getDiskGroupsLookup(&groups, "V", "NAME", volume.c_str())) {
            DEBUG_LOG("System_VxVMInfo::getDevicesOnDrive: getDiskGroupsLookup failed\n");
            return false;
        }
        out->push_back(deviceOf(volume, groups));
        DEBUG_LOG("System_VxVMInfo::getDevicesOnDrive: insert device '%s'\n", out->back().c_str());
    }
    return true;
}
