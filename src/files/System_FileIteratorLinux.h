#pragma once

#include "files/System_FileIterator.h"
#include "files/System_MountPointMapLinux.h"

/// Whether directories other than the root count once only, however many hard links lead to them.
extern bool gIgnoreHardlinkDirs;

/// The walk on this platform. It leaves no trace and follows no soft link but a root that is one. A directory
/// is opened from its parent, so that paths may be longer than the system takes and a directory that is
/// replaced by a link meanwhile leads nowhere.
class System_FileIteratorLinux : public System_FileIterator, public System_MountPointObjectLinux {
public:
    /// Whether directories are read ahead on a second thread, which changes nothing but the time that it
    /// takes: in a long walk if a processor is free, or never, or from the first directory on.
    enum class ReadAhead { Automatic, Never, AtOnce };
    /// What to do at a mount point inside the tree.
    enum SkipMethod : int { SkipAll = 1, SkipUnsupported = 2, SkipNone = 999 };

    bool prepareForAudit() override;
    /// Fails if the root cannot be read, memory is short, or the terminator ends the walk so.
    bool audit() override;
    bool cleanupAfterAudit() override;

    SkipMethod getSkipMethod() const { return skipMethod_; }
    void setSkipMethod(SkipMethod method) { skipMethod_ = method; }
    void setReadAhead(ReadAhead readAhead) { readAhead_ = readAhead; }

private:
    class Walk;

    SkipMethod skipMethod_ = SkipAll;
    ReadAhead readAhead_ = ReadAhead::Automatic;
};
