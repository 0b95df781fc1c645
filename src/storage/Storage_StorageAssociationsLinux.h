#pragma once

#include "storage/Storage_StorageAssociations.h"

/// The links of the host. Its audit runs last and adds those that span several levels.
class Storage_StorageAssociationsLinux : public Storage_StorageAssociations {
public:
    bool audit() override;
};
