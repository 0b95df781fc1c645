#pragma once

#include "storage/Storage_Plex.h"

/// A volume group of the logical volume manager.
class Storage_PlexLinux : public Storage_Plex {
public:
    using Storage_Plex::operator=;
    bool audit() override;
};

/// The volume groups that the logical volume manager knows.
class Storage_PlexesLinux : public Storage_Plexes {
public:
    bool audit() override;
};
