#pragma once

#include "files/System_FileIteratorLinux.h"
#include "files/System_FileSystemObjectLinux.h"
#include "files/System_OpenFolder.h"
#include "files/System_ReadAhead.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

/// The directories of a walk: those between the root and the one that is read, with their descriptors, and
/// those that have been found and not yet read. Directories are read last in, first out, so those that wait
/// lie in the former, which are frames. Paths may be longer than the system takes, since each directory is
/// opened from its parent, and a tree may be deeper than there are descriptors. For one thread at a time.
class System_WalkStack {
public:
    using Mounts = System_MountPointMapLinux::Map;
    using ReadAhead = System_FileIteratorLinux::ReadAhead;

    struct FileId {
        dev_t device = 0;
        ino_t inode = 0;

        bool operator==(const FileId&) const = default;
    };

    /// A directory that has been found and not yet read. There may be very many of them.
    struct Waiting {
        std::string name;
        FileId id;
        std::unique_ptr<System_FoundEntry> found; ///< in the map mode
        System_ReadAhead::Job* job = nullptr;     ///< if it is read ahead
    };

    /// A directory between the root and the one that is being read, or that one itself.
    struct Frame {
        std::string name;
        FileId id;
        std::size_t depth = 0;
        std::size_t pathLength = 0; ///< of its path, which the paths of all directories below it begin with
        std::size_t waiting = 0;    ///< subdirectories that have not been read
        System_ReadAhead::Parent descriptor; ///< null if there are too many
        std::unique_ptr<System_FoundEntry> found;
        System_FileSystemObject* node = nullptr; ///< in the map mode
        System_ReadAhead::Job* job = nullptr;
    };

    /// `root` and `mounts` outlive the stack. `keepsAll` is whether a frame in which no directory waits is
    /// kept until the walk leaves it, as the map mode needs.
    System_WalkStack(const std::string& root, const Mounts& mounts, bool keepsAll, ReadAhead readAhead);

    /// Opens the directory that the walk begins with; false if it cannot be.
    System_OpenFolder openRoot(Frame& frame);
    /// What stands in front of the names of the directory that is read.
    const std::string& place() const { return place_; }
    std::string pathOf(const Frame& frame) const { return place_.substr(0, frame.pathLength); }

    /// Adds a directory that has been found in `parent`, which is being read.
    void add(Frame& parent, Waiting found);
    /// Puts a directory that has been read where its subdirectories find it.
    void keep(Frame frame, File_Descriptor descriptor);
    /// Whether no directory waits.
    bool isDone() const { return waiting_.empty(); }
    /// Takes the next directory that waits. Its parent is on top then. `entries` is how many the walk has
    /// met.
    Frame next(std::uint64_t entries);
    /// Opens what `next` gave; false if it cannot be. What has been read ahead of it is in `prepared`.
    System_OpenFolder open(const Frame& frame);
    const System_PreparedFolder& prepared() const { return prepared_; }

    std::size_t size() const { return frames_.size(); }
    Frame& top() { return frames_.back(); }
    Frame& parentOfTop() { return frames_[frames_.size() - 2]; }
    /// Drops the frame on top.
    void leave();

    /// How many directories waited at most.
    std::size_t largest() const { return largest_; }

private:
    void enter(const Frame& frame);
    bool reopen(Frame& frame);
    bool reachFromRoot(const Frame& frame);
    void keepFewOpen();
    void readAhead(std::uint64_t entries);
    void offerNext();
    bool hasMountPointBelow(const Frame& parent, const std::string& name) const;

    const std::string& root_;
    const Mounts& mounts_;
    const bool keepsAll_;
    const ReadAhead use_;
    std::vector<Waiting> waiting_;
    std::vector<Frame> frames_;
    std::string place_;
    std::size_t longestMountPoint_ = 0; ///< among those below the root
    std::size_t largest_ = 1;

    std::size_t openFrames_ = 0;
    std::size_t firstOpen_ = 0; ///< no frame before it is open
    /// The directory that was left last, from which those above it are reached.
    System_ReadAhead::Parent left_;
    std::size_t leftDepth_ = 0;

    System_ReadAhead::AtWork atWork_;
    std::uint64_t entriesUntilReadAhead_;
    std::unique_ptr<System_ReadAhead> readAhead_;
    /// The entries of the directory that is read that are known already.
    System_PreparedFolder prepared_;
};
