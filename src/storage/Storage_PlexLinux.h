#pragma once

#include "storage/Storage_Plex.h"

/// A volume group of the logical volume manager. It shows the kind of its first logical volume.
class Storage_PlexLinux : public Storage_Plex {
public:
    using Storage_Plex::operator=;
    bool audit() override;
};

/// The volume groups that the logical volume manager knows. What cannot be found out leaves the collection
/// with what it has; its audit succeeds.
class Storage_PlexesLinux : public Storage_Plexes {
public:
    bool audit() override;
    bool auditPlexes();

private:
    bool addPlaceholder(const System_Object& object);
    bool addGroups();
};
