#pragma once

#include "storage/System_HBALibrary.h"

#include <string>
#include <vector>

/// What the library of the tests answers. Adapter N has the handle N + 1.
struct HBA_Adapter {
    bool opens = true;
    std::string portDevice = {}; ///< empty: the port tells nothing of itself
    std::vector<HBA_FcpScsiEntry> entries = {};
    HBA_Status mappingStatus = HBA_StatusOk;
    std::uint32_t claimedEntries = 0; ///< 0: as many as there are
};

struct HBA_Play {
    HBA_Status loadStatus = HBA_StatusOk;
    std::uint32_t version = 2;
    std::vector<HBA_Adapter> adapters = {};
    int openHandles = 0;
    int loads = 0; ///< less those that were freed
};
extern HBA_Play hbaPlay;
