#pragma once

#include "storage/System_SANDeviceMap.h"

/// The map of a Linux machine. A drive is found by the SCSI address that its device node tells, or else by
/// the node's name. The address does not name the adapter: two adapters that show units under the same bus,
/// target and unit number fall together, and the first one counts.
class System_SANDeviceMapLinux : public System_SANDeviceMap {
public:
    /// Made at the first access and never deleted.
    static System_SANDeviceMapLinux* getPInstance();

    bool audit() override;
    bool prepareForAudit() override;
    bool cleanupAfterAudit() override;
    std::string getSANAddress(const char* device) const override;
    bool scsiIDToDeviceFile(const std::string& id, std::string& file) const override;

    /// Room for "c255t255d255".
    static constexpr std::size_t scsiIDSize = 16;
    /// Asks the device at `path` of the host. False, and the text as it was, if it does not tell.
    bool deviceFileToSCSIID(const char* path, char* id) const;
};
