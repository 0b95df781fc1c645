#pragma once

#include "files/System_FileSystemObject.h"
#include "files/System_TimeWindow.h"

#include <map>
#include <string>
#include <string_view>
#include <sys/stat.h>

/// An open directory whose entries are looked at.
struct System_WalkedFolder {
    int descriptor;
    /// As the walk names it.
    std::string_view path;
    /// What stands in front of an entry's name in its path.
    std::string_view prefix;
};

/// What a walk keeps of a directory that it has found, until it looks into it.
struct System_FoundEntry {
    struct stat status;
    /// Of a table, and so there for ever.
    const char* fileSystemType;
};

/// A file system object of this platform.
class System_FileSystemObjectLinux : public System_FileSystemObject {
public:
    System_FileSystemObjectLinux();
    using System_FileSystemObject::operator=;

    /// Looks at the path, and walks the directory that may be there as deep as the recursion level says.
    /// Fails if it cannot be looked at, or does not answer within System_Patience; then `getExists` tells
    /// whether it is missing.
    bool audit() override;
    /// Counts a member, at any depth, into the directory that this is, and keeps a copy of a direct one.
    bool evaluateFile(System_FileSystemObject* fso, System_Date* sDay, System_Date* eDay) override;
    /// Whether copies of direct members are kept, as they are unless told otherwise.
    void setKeepsChildren(bool keeps) { keepsChildren_ = keeps; }
    using System_FileSystemObject::serialize;
    /// Makes an element, and appends it to `parent` if the options say that the object writes itself.
    bool serialize(xercesc::DOMDocument* document, xercesc::DOMElement* parent);

    /// For a walk, which looks at one entry after another with the same object: those that follow lie in
    /// `folder`.
    void enter(const System_WalkedFolder& folder);
    /// Audits an entry of it, without a walk. Its kind of file system is asked for once for each device.
    bool auditEntry(const System_WalkedFolder& folder, std::string_view name);
    /// The same for an entry that somebody has looked at; `error` is an errno(3) number if he could not.
    bool auditEntry(const System_WalkedFolder& folder, std::string_view name, const struct stat& status,
                    int error);
    /// Names of owners that are shared by many objects.
    void setOwnerNames(std::shared_ptr<System_OwnerNames> names) { ownerNames_ = std::move(names); }
    /// What has been taken from the system by the last audit of an entry.
    const System_FoundEntry& found() const { return found_; }
    /// Takes an entry that has been found before, with the owners' names of the object that found it.
    void take(std::string name, const System_FoundEntry& found, const System_FileSystemObjectLinux& finder);

private:
    /// Where the members of one kind and depth are counted.
    struct MemberCounters {
        Counter all;
        Counter archived;
        Counter modified;
        Counter accessed;
    };
    static constexpr MemberCounters directFiles = {Files, FilesArchived, FilesModified, FilesAccessed};
    static constexpr MemberCounters directDirs = {Dirs, DirsArchived, DirsModified, DirsAccessed};
    static constexpr MemberCounters recursiveFiles = {FilesRecursive, FilesArchivedRecursive,
                                                      FilesModifiedRecursive, FilesAccessedRecursive};
    static constexpr MemberCounters recursiveDirs = {DirsRecursive, DirsArchivedRecursive,
                                                     DirsModifiedRecursive, DirsAccessedRecursive};

    /// False if the member lacks a date.
    bool count(const System_FileSystemObject& member, const MemberCounters& which, bool countsAccess);
    void place(std::string_view name);
    bool takeFound(const System_WalkedFolder& folder);
    bool take(const struct stat& status);
    bool fail();
    bool failMissing(const char* call, int error);
    bool isCalendarTime(std::time_t time, const char* which) const;
    bool takeFileSystemType(const System_WalkedFolder* folder);
    void walk();

    std::size_t prefixLength_ = 0;
    System_FoundEntry found_{};
    bool keepsChildren_ = true;
    System_TimeWindow window_;
    /// By device.
    std::map<dev_t, const char*> fileSystemTypes_;
    unsigned deadLinks_ = 0; ///< that have been met in a walk
};
