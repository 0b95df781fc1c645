#pragma once

#include "date/System_Date.h"
#include "files/System_FileEvaluator.h"
#include "model/System_Object.h"

#include <array>
#include <cstdint>
#include <ctime>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

class System_FileSystemObject;
class System_OwnerNames;
class System_TimeWindow;

/// An attribute of a file system object: its XML form, and what it is to a condition.
struct System_FSOAttribute : XMLSerializable_Attribute<System_FileSystemObject> {
    /// "string", "boolean", "uinteger" or "date"; null if conditions cannot test it.
    const char* type = nullptr;
    /// Of a date, whose row gives its text.
    System_Date* (System_FileSystemObject::*date)() const = nullptr;
};

/// One file or directory: what lstat(2) and statfs(2) say of it, the counters that a walk adds up, and copies
/// of its direct members.
///
/// One object serves all entries of a walk, so it keeps what the system said and makes dates, the owner's
/// name and the extension of it when somebody asks; whoever reads does not notice. Sizes are bytes, dates
/// UTC. String setters take null as the empty text. An object belongs to one thread at a time.
class System_FileSystemObject : public System_Object,
                                public System_FileEvaluator,
                                public System_IterationTerminator {
public:
    enum Existence : int { Missing = 0, Exists = 1, ExistenceUnknown = 999 };
    enum RecursionLevel : int { NoWalk = 0, OneDirectory = 1, AllDepths = 999 };
    /// Bit of System_SerializeOptions: the members are written too, below the object if that is written.
    static constexpr System_SerializeOptions SerializeChildren = 2;
    static constexpr std::uint32_t GroupUnknown = 0xFFFFFFFF;
    /// Bit of the attribute flags.
    static constexpr std::uint32_t Archived = 1;

    using Children = std::vector<std::unique_ptr<System_FileSystemObject>>;

    static std::span<const System_FSOAttribute> attributes();

    System_FileSystemObject() = default;
    ~System_FileSystemObject() override;

    StorageType getStorageType() const override { return FSO; }
    /// Clears counters, hit and members, so that an object can be audited again.
    bool prepareForAudit() override;
    bool cleanupAfterAudit() override;
    bool parse(xercesc::DOMElement* element) override;
    bool serialize(xercesc::DOMDocument* document, xercesc::DOMElement* parent,
                   xercesc::DOMElement* element) override;

    /// Each takes the date, null for none.
    virtual void setAllocatedCreateDT(std::unique_ptr<System_Date> date) { createDT_ = std::move(date); }
    virtual void setAllocatedModifyDT(std::unique_ptr<System_Date> date);
    virtual void setAllocatedAccessDT(std::unique_ptr<System_Date> date);
    virtual void deallocateFSOs();

    /// The last component of the path; "/" has none.
    virtual const char* getName() const { return name_.c_str(); }
    virtual void setName(const char* name) { name_ = textOf(name); }
    virtual const char* getPath() const { return path_.c_str(); }
    virtual void setPath(const char* path) { path_ = textOf(path); }
    virtual const char* getParentDirPath() const { return parentDirPath_.c_str(); }
    virtual void setParentDirPath(const char* path) { parentDirPath_ = textOf(path); }
    virtual Existence getExists() const { return exists_; }
    virtual void setExists(Existence exists) { exists_ = exists; }
    virtual bool getIsDirectory() const { return isDirectory_; }
    virtual void setIsDirectory(bool isDirectory) { isDirectory_ = isDirectory; }
    virtual const char* getExtension() const;
    virtual void setExtension(const char* extension);
    /// The dates stay the object's; null if it holds none. A setter copies, and gives false if there is
    /// nothing to copy into.
    virtual System_Date* getCreateDT() const { return createDT_.get(); }
    virtual bool setCreateDT(const System_Date* date);
    virtual System_Date* getModifyDT() const;
    virtual bool setModifyDT(const System_Date* date);
    virtual System_Date* getAccessDT() const;
    virtual bool setAccessDT(const System_Date* date);
    virtual std::uint32_t getAttributeFlag() const { return attributeFlag_; }
    virtual void setAttributeFlag(std::uint32_t flag) { attributeFlag_ = flag; }
    virtual std::uint64_t getSize() const { return size_; }
    virtual void setSize(std::uint64_t size) { size_ = size; }

    /// Direct members, or with "Recursive" those at every depth. Modified and accessed are those within the
    /// window of the walk.
    virtual std::uint64_t getNumFiles() const { return counters_[Files]; }
    virtual void setNumFiles(std::uint64_t count) { counters_[Files] = count; }
    virtual std::uint64_t getNumDirs() const { return counters_[Dirs]; }
    virtual void setNumDirs(std::uint64_t count) { counters_[Dirs] = count; }
    virtual std::uint64_t getNumFilesArchived() const { return counters_[FilesArchived]; }
    virtual void setNumFilesArchived(std::uint64_t count) { counters_[FilesArchived] = count; }
    virtual std::uint64_t getNumDirsArchived() const { return counters_[DirsArchived]; }
    virtual void setNumDirsArchived(std::uint64_t count) { counters_[DirsArchived] = count; }
    virtual std::uint64_t getNumFilesNotArchived() const { return 0; }
    virtual std::uint64_t getNumDirsNotArchived() const { return 0; }
    virtual std::uint64_t getNumFilesModified() const { return counters_[FilesModified]; }
    virtual void setNumFilesModified(std::uint64_t count) { counters_[FilesModified] = count; }
    virtual std::uint64_t getNumDirsModified() const { return counters_[DirsModified]; }
    virtual void setNumDirsModified(std::uint64_t count) { counters_[DirsModified] = count; }
    virtual std::uint64_t getNumFilesAccessed() const { return counters_[FilesAccessed]; }
    virtual void setNumFilesAccessed(std::uint64_t count) { counters_[FilesAccessed] = count; }
    virtual std::uint64_t getNumDirsAccessed() const { return counters_[DirsAccessed]; }
    virtual void setNumDirsAccessed(std::uint64_t count) { counters_[DirsAccessed] = count; }
    virtual std::uint64_t getSizeRecursive() const { return counters_[SizeRecursive]; }
    virtual void setSizeRecursive(std::uint64_t size) { counters_[SizeRecursive] = size; }
    virtual std::uint64_t getNumFilesRecursive() const { return counters_[FilesRecursive]; }
    virtual void setNumFilesRecursive(std::uint64_t count) { counters_[FilesRecursive] = count; }
    virtual std::uint64_t getNumDirsRecursive() const { return counters_[DirsRecursive]; }
    virtual void setNumDirsRecursive(std::uint64_t count) { counters_[DirsRecursive] = count; }
    virtual std::uint64_t getNumFilesArchivedRecursive() const { return counters_[FilesArchivedRecursive]; }
    virtual void setNumFilesArchivedRecursive(std::uint64_t count) {
        counters_[FilesArchivedRecursive] = count;
    }
    virtual std::uint64_t getNumDirsArchivedRecursive() const { return counters_[DirsArchivedRecursive]; }
    virtual void setNumDirsArchivedRecursive(std::uint64_t count) {
        counters_[DirsArchivedRecursive] = count;
    }
    virtual std::uint64_t getNumFilesNotArchivedRecursive() const { return 0; }
    virtual std::uint64_t getNumDirsNotArchivedRecursive() const { return 0; }
    virtual std::uint64_t getNumFilesModifiedRecursive() const { return counters_[FilesModifiedRecursive]; }
    virtual void setNumFilesModifiedRecursive(std::uint64_t count) {
        counters_[FilesModifiedRecursive] = count;
    }
    virtual std::uint64_t getNumDirsModifiedRecursive() const { return counters_[DirsModifiedRecursive]; }
    virtual void setNumDirsModifiedRecursive(std::uint64_t count) {
        counters_[DirsModifiedRecursive] = count;
    }
    virtual std::uint64_t getNumFilesAccessedRecursive() const { return counters_[FilesAccessedRecursive]; }
    virtual void setNumFilesAccessedRecursive(std::uint64_t count) {
        counters_[FilesAccessedRecursive] = count;
    }
    virtual std::uint64_t getNumDirsAccessedRecursive() const { return counters_[DirsAccessedRecursive]; }
    virtual void setNumDirsAccessedRecursive(std::uint64_t count) {
        counters_[DirsAccessedRecursive] = count;
    }
    /// How many members a listing takes; 0 for all.
    virtual std::uint64_t getChildAuditLimit() const { return childAuditLimit_; }
    virtual void setChildAuditLimit(std::uint64_t limit) { childAuditLimit_ = limit; }
    virtual bool getSearchHit() const { return searchHit_; }
    virtual void setSearchHit(bool hit) { searchHit_ = hit; }
    virtual bool getIsSoftLink() const { return isSoftLink_; }
    virtual void setIsSoftLink(bool isSoftLink) { isSoftLink_ = isSoftLink; }
    virtual std::uint64_t getInode() const { return inode_; }
    virtual void setInode(std::uint64_t inode) { inode_ = inode; }
    /// The low word of the number.
    virtual std::uint32_t getInodeDevice() const { return inodeDevice_; }
    virtual void setInodeDevice(std::uint32_t device) { inodeDevice_ = device; }
    /// The owner's name, or his number as text if he has none.
    virtual const std::string& getUserId() const;
    virtual void setUserId(const char* user);
    virtual std::uint32_t getGroupId() const { return groupId_; }
    virtual void setGroupId(std::uint32_t group) { groupId_ = group; }
    virtual const std::string& getFSType() const { return fsType_; }
    virtual void setFSType(const char* type) { fsType_ = textOf(type); }

    /// Finishes a tree of directories from the bottom up: each is offered to `evaluator` when its own members
    /// are, and if taken its counters are added to those of its parent. However deep the tree is. False if
    /// there is no evaluator, or if the terminator ends it so.
    virtual bool calcRecursiveDirMembers(System_FileEvaluator* evaluator,
                                         System_IterationTerminator* terminator, System_Date* sDay,
                                         System_Date* eDay);
    /// Everything but the members and their limit.
    virtual System_FileSystemObject& operator=(const System_FileSystemObject& other);
    using System_Object::operator=;
    /// No equality: whether this one sorts before the other. Directories come first.
    virtual bool operator==(const System_FileSystemObject& other) const;
    /// Stops a listing, with success, that has reached its limit.
    bool terminateIteration(bool& terminate) override;

    RecursionLevel getRecursionLevel() const { return recursionLevel_; }
    void setRecursionLevel(RecursionLevel level) { recursionLevel_ = level; }
    Children* getChildren() { return &children_; }

    /// Adds the counters of every depth of a member to this object's own.
    void addRecursiveMembers(const System_FileSystemObject& member);
    /// The text of the element that serialize makes for the object alone, byte for byte.
    void appendText(std::string& out) const;
    /// Nothing if the object holds no such date.
    std::optional<bool> isModifiedWithin(const System_TimeWindow& window) const;
    std::optional<bool> isAccessedWithin(const System_TimeWindow& window) const;

protected:
    enum Counter {
        Files,
        Dirs,
        FilesArchived,
        DirsArchived,
        FilesModified,
        DirsModified,
        FilesAccessed,
        DirsAccessed,
        SizeRecursive,
        FilesRecursive,
        DirsRecursive,
        FilesArchivedRecursive,
        DirsArchivedRecursive,
        FilesModifiedRecursive,
        DirsModifiedRecursive,
        FilesAccessedRecursive,
        DirsAccessedRecursive,
        CounterCount
    };
    using Counters = std::array<std::uint64_t, CounterCount>;

    /// What has been read and not yet been made into the form in which it is asked for.
    struct Unread {
        bool modifyTime = false;
        bool accessTime = false;
        bool owner = false;
        bool extension = false;
    };

    std::string name_;
    std::string path_;
    std::string parentDirPath_;
    Existence exists_ = ExistenceUnknown;
    bool isDirectory_ = false;
    std::unique_ptr<System_Date> createDT_;
    std::unique_ptr<System_Date> modifyDT_;
    std::unique_ptr<System_Date> accessDT_;
    std::uint32_t attributeFlag_ = 0;
    std::uint64_t size_ = 0;
    Counters counters_{};
    bool searchHit_ = false;
    std::uint64_t childAuditLimit_ = 0;
    bool isSoftLink_ = false;
    std::uint64_t inode_ = 0;
    std::uint32_t inodeDevice_ = 0;
    std::uint32_t groupId_ = GroupUnknown;
    std::string fsType_;
    RecursionLevel recursionLevel_ = AllDepths;
    Children children_;

    std::time_t modifyTime_ = 0;
    std::time_t accessTime_ = 0;
    std::uint32_t owner_ = 0;
    std::shared_ptr<System_OwnerNames> ownerNames_; ///< null to ask the host each time
    mutable Unread unread_;

private:
    System_FileSystemObject* nextDoomed_ = nullptr;
    mutable std::string extension_;
    mutable std::string userId_;
};

/// The order of listings: false if either is null.
struct System_FileSystemObjectCompare {
    bool operator()(const System_FileSystemObject* one, const System_FileSystemObject* other) const {
        return one != nullptr && other != nullptr && *one == *other;
    }
};

/// Null when memory is short.
std::unique_ptr<System_FileSystemObject> System_FactoryAllocateFileSystemObject();
