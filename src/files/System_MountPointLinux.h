#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

class Host_Host;

/// A line of mount(8), and what software RAID and the volume manager say of its device: they are asked when
/// somebody wants to know, since that costs a command for each mount. For one thread at a time.
class System_MountPointLinux {
public:
    /// `host` outlives the object.
    System_MountPointLinux(Host_Host& host, std::string itsMountPoint, std::string itsDevice,
                           std::string itsType)
        : mountPoint(std::move(itsMountPoint)), device(std::move(itsDevice)),
          fileSystemType(std::move(itsType)), host_(host) {}

    /// Look in /etc/raidtab or ask lvdisplay(8), once; true if the device was found there.
    bool evaluateRaid();
    bool evaluateLVM();

    /// Whether a member device of the logical volume begins with `device`.
    bool checkLVMDevices(const std::string& device);
    bool isRaid() { return evaluateRaid(); }
    /// The number in raidtab(5).
    int raidLevel();
    bool isLVM();
    /// Member devices of the array, and physical volumes of the logical volume.
    const std::vector<std::string>& devices();

    const std::string mountPoint;
    const std::string device; ///< or whatever the kind of file system has in its place
    const std::string fileSystemType;

private:
    bool readRaidtab(std::string_view text);
    bool readVolume(std::string_view text);

    Host_Host& host_;
    std::optional<bool> isRaid_;
    std::optional<bool> evaluatedLVM_;
    bool isLVM_ = false;
    int raidLevel_ = 0;
    std::vector<std::string> devices_;
};
