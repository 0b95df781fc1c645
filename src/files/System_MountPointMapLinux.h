#pragma once

#include "files/System_MountPointLinux.h"
#include "model/Auditable_Auditable.h"

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

/// What is mounted, every pseudo file system included, in the order of mount(8). Of several mounts on one
/// point, or of one device, the maps have the first. For one thread at a time.
class System_MountPointMapLinux : public Auditable_Auditable {
public:
    using Points = std::vector<std::unique_ptr<System_MountPointLinux>>;
    using Map = std::map<std::string, System_MountPointLinux*, std::less<>>;

    bool prepareForAudit() override;
    bool cleanupAfterAudit() override;
    /// False if the command could not be run. A line of another form ends the reading; what stands before it
    /// counts.
    bool audit() override;

    Points* getMountPointVector() { return &points_; }
    Map* getMountPointMapMP() { return &byMountPoint_; }
    Map* getMountPointMapDevice() { return &byDevice_; }
    void deallocateMountPoints();

private:
    bool read(std::string_view line);

    Points points_;
    Map byMountPoint_;
    Map byDevice_;
};

/// Gives a class a map of its own, or one that somebody else owns and audits.
class System_MountPointObjectLinux : public virtual Auditable_Auditable {
public:
    /// `map` is borrowed and outlives this object.
    virtual void registerMountPointMap(System_MountPointMapLinux* map);
    bool prepareForAudit() override;
    bool cleanupAfterAudit() override;

protected:
    /// Null before prepareForAudit.
    System_MountPointMapLinux* mountPointMap() const { return map_; }

private:
    System_MountPointMapLinux* map_ = nullptr;
    std::unique_ptr<System_MountPointMapLinux> own_;
};
