#pragma once

#include "model/Auditable_Auditable.h"
#include "storage/System_VxVMParser.h"

#include <string>
#include <vector>

/// What the Veritas Volume Manager says it holds. Stands by itself: whoever needs it makes one, audits it and
/// asks. On a host without the product the audit succeeds and there is nothing to tell. For one thread at a
/// time.
class System_VxVMInfo : public Auditable_Auditable {
public:
    /// False if the product's tool could not be run or said what cannot be read.
    bool audit() override;

    /// Appends the disks that it holds, "c1t0d0", each once and sorted. False, and nothing appended, if one
    /// of them has a name of another form.
    bool getDrives(std::vector<std::string>* out) const;
    /// Appends the device paths of the volumes that lie on the drive. False if the output had gaps.
    bool getDevicesOnDrive(const char* drive, std::vector<std::string>* out) const;

private:
    bool installed_ = false;
    System_VxVMParser parser_;
};
