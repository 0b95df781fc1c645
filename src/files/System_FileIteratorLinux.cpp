#include "files/System_FileIteratorLinux.h"

#include "files/System_FileSystemObjectLinux.h"
#include "files/System_FileSystemType.h"
#include "files/System_OpenFolder.h"
#include "files/System_OwnerNames.h"
#include "files/System_ReadAhead.h"
#include "log/Debug_Printf.h"
#include "model/System_Allocate.h"
#include "model/System_AuditFailures.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unordered_map>

bool gIgnoreHardlinkDirs = false;

namespace {

constexpr unsigned hoursOfWindow = 24;
/// How many directories stay open while their subdirectories are read. The others are opened again from
/// below.
constexpr std::size_t mostOpenFolders = 64;
/// A second thread is tried for after so many entries, and again after as many.
constexpr std::uint64_t entriesOfShortWalk = 4096;
/// How many directories that come next are offered to it.
constexpr std::size_t mostOffered = 16;

/// For a directory that is only gone through.
constexpr int reachFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NOFOLLOW;

struct FileId {
    dev_t device = 0;
    ino_t inode = 0;

    bool operator==(const FileId&) const = default;
};

std::optional<FileId> idOf(int descriptor) {
    struct stat status {};
    if (fstat(descriptor, &status) != 0)
        return std::nullopt;
    return FileId{status.st_dev, status.st_ino};
}

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
    System_FileSystemObject* node = nullptr;
    System_ReadAhead::Job* job = nullptr;
};

System_ReadAhead::Parent shared(File_Descriptor descriptor) {
    return descriptor ? std::make_shared<const File_Descriptor>(std::move(descriptor)) : nullptr;
}

/// What one directory holds itself.
struct Totals {
    std::uint64_t files = 0;
    std::uint64_t dirs = 0;
    std::uint64_t filesAccessed = 0;
    std::uint64_t filesModified = 0;
    std::uint64_t size = 0;
};

} // namespace

std::unique_ptr<System_FileIterator> System_FactoryAllocateFileIterator() {
    return System_Allocate<System_FileIterator, System_FileIteratorLinux>();
}

/// One run over one tree. Directories leave the stack last in, first out, so those that wait belong to the
/// directories between the root and the one that is read, which frames_ holds; in the plain mode those for
/// which nothing waits are left out.
class System_FileIteratorLinux::Walk {
public:
    Walk(System_FileIteratorLinux& owner, const System_MountPointMapLinux::Map& mounts)
        : owner_(owner), mounts_(mounts),
          entriesUntilReadAhead_(owner.readAhead_ == ReadAhead::AtOnce ? 0 : entriesOfShortWalk) {}

    bool run();

private:
    enum class Outcome { GoOn, Stopped, Failed };

    bool isOneLevel() const { return owner_.recursionLevel_ == System_FileSystemObject::OneDirectory; }
    bool isMapMode() const { return owner_.fsoMapRequired_; }
    bool begin();
    bool finish();

    /// The directory that is read, and its path.
    std::optional<Frame> next();
    bool makeNode(Frame& frame, const System_FoundEntry& found);
    void enter(const Frame& frame);
    std::string pathOf(const Frame& frame) const { return place_.substr(0, frame.pathLength); }
    System_OpenFolder openRoot(Frame& frame);
    System_OpenFolder open(const Frame& frame);
    bool reopen(Frame& frame);
    bool reachFromRoot(const Frame& frame);
    void readAhead();
    void offerNext();
    void keep(Frame frame, File_Descriptor descriptor);
    void leave();
    void keepFewOpen();

    Outcome read(Frame& frame, System_OpenFolder& folder);
    Outcome look(std::string_view name, const System_WalkedFolder& folder, Frame& frame,
                 const System_PreparedFolder::Entry* known = nullptr);
    void findMountPoints();
    bool isSkipped(std::string_view name) const;
    bool hasMountPointBelow(const Frame& parent, const std::string& name) const;
    void takeFile();
    void takeFolder(std::string_view name, Frame& frame);
    bool isDuplicate();
    bool hasBeenMet() const;
    void evaluate();
    void record(const char* path) const;
    Outcome askTerminator() const;

    void closeAccount(const Frame& frame) const;
    void rollUp();
    bool offerFolders();

    System_FileIteratorLinux& owner_;
    const System_MountPointMapLinux::Map& mounts_;
    std::unique_ptr<System_Date> sDay_ = System_FactoryAllocateDate();
    std::unique_ptr<System_Date> eDay_ = System_FactoryAllocateDate();
    /// Stands for one entry after another.
    System_FileSystemObjectLinux fso_;
    std::vector<Waiting> waiting_;
    std::vector<Frame> frames_;
    /// What stands in front of the names of the directory that is read.
    std::string place_;
    Totals totals_;
    std::unordered_multimap<std::uint64_t, std::uint32_t> inodeSet_;
    /// Those in the directory that is read.
    std::vector<System_MountPointMapLinux::Map::const_iterator> mountsHere_;
    std::size_t longestMountPoint_ = 0; ///< among those below the root

    std::size_t openFrames_ = 0;
    std::size_t firstOpen_ = 0; ///< no frame before it is open
    /// The directory that was left last, from which those above it are reached.
    System_ReadAhead::Parent left_;
    std::size_t leftDepth_ = 0;

    System_ReadAhead::AtWork atWork_;
    std::uint64_t entries_ = 0;
    std::uint64_t entriesUntilReadAhead_;
    std::unique_ptr<System_ReadAhead> readAhead_;
    /// The entries of the directory that is read that are known already.
    System_PreparedFolder prepared_;

    std::size_t largestStack_ = 1;
    std::size_t nodes_ = 0;
    std::size_t nodesNow_ = 0;
    std::size_t largestMap_ = 0;
    System_FolderBuffer buffer_{};
};

bool System_FileIteratorLinux::prepareForAudit() {
    if (System_FileIterator::prepareForAudit() && System_MountPointObjectLinux::prepareForAudit())
        return true;
    cleanupAfterAudit();
    return false;
}

bool System_FileIteratorLinux::cleanupAfterAudit() {
    const bool isFirstClean = System_FileIterator::cleanupAfterAudit();
    return System_MountPointObjectLinux::cleanupAfterAudit() && isFirstClean;
}

bool System_FileIteratorLinux::audit() {
    DEBUG_LOG("System_FileIteratorLinux::audit: %s\n", path_.c_str());
    unopenedFolders_ = 0;
    if (path_.empty()) {
        DEBUG_LOG("System_FileIteratorLinux::audit: path is empty\n");
    } else if (fileEvaluator_ == nullptr) {
        DEBUG_LOG("System_FileIteratorLinux::audit: fileEvaluator is NULL\n");
    } else if (recursionLevel_ == System_FileSystemObject::NoWalk) {
        return true;
    } else if (mountPointMap() == nullptr) {
        DEBUG_LOG("System_FileIteratorLinux::audit: mps is NULL\n");
    } else {
        const bool succeeded = std::make_unique<Walk>(*this, *mountPointMap()->getMountPointMapMP())->run();
        deallocateFsoMap();
        if (succeeded) {
            setAuditResult(true);
            return true;
        }
    }
    DEBUG_LOG("System_FileIteratorLinux::audit: failed\n");
    return false;
}

bool System_FileIteratorLinux::Walk::begin() {
    if (!eDay_->setToCurrentTime()) {
        DEBUG_LOG("System_FileIteratorLinux::audit: failed SystemFactoryAllocateDate\n");
        return false;
    }
    *sDay_ = *eDay_;
    sDay_->subtractHours(hoursOfWindow);
    fso_.setOwnerNames(std::make_shared<System_OwnerNames>());
    owner_.setFSORequirements(&fso_);
    if (!owner_.fsoMapRequired_)
        return true;
    owner_.fsoRootDir_ = System_FactoryAllocateFileSystemObject();
    if (!owner_.fsoRootDir_) {
        DEBUG_LOG(
            "System_FileIteratorLinux::audit: failed fsoRootDir SystemFactoryAllocateFileSystemObject\n");
        return false;
    }
    owner_.fsoRootDir_->setPath(owner_.path_.c_str());
    nodesNow_ = largestMap_ = 1;
    return true;
}

bool System_FileIteratorLinux::Walk::run() {
    if (!begin())
        return false;
    Frame frame;
    System_OpenFolder folder = openRoot(frame);
    if (!folder) {
        DEBUG_LOG("System_FileIteratorLinux::audit: unable to open directory %s\n", pathOf(frame).c_str());
        return false;
    }
    Outcome outcome = Outcome::GoOn;
    for (;;) {
        outcome = read(frame, folder);
        if (outcome == Outcome::Failed)
            return false;
        keep(std::move(frame), folder.takeDescriptor());
        if (outcome == Outcome::Stopped || waiting_.empty())
            break;
        std::optional<Frame> following = next();
        if (!following)
            return false;
        frame = std::move(*following);
        folder = open(frame);
        if (!folder) {
            DEBUG_LOG("System_FileIteratorLinux::audit: unable to open directory %s\n",
                      pathOf(frame).c_str());
            ++owner_.unopenedFolders_;
        }
    }
    DEBUG_LOG("System_FileIteratorLinux::audit max stack size: %d\n", static_cast<int>(largestStack_));
    if (outcome != Outcome::Stopped && !finish())
        return false;
    DEBUG_LOG("System_FileIteratorLinux::audit: InodeSet size = %u\n",
              static_cast<unsigned>(inodeSet_.size()));
    return true;
}

bool System_FileIteratorLinux::Walk::finish() {
    if (!isMapMode())
        return true;
    DEBUG_LOG("System_FileIteratorLinux::audit: max fsoMap size: %d\n", static_cast<int>(largestMap_));
    DEBUG_LOG("System_FileIteratorLinux::audit: total num of nodes: %d\n", static_cast<int>(nodes_));
    if (isOneLevel() ? offerFolders()
                     : owner_.fsoRootDir_->calcRecursiveDirMembers(
                           owner_.fileEvaluator_, owner_.iterationTerminator_, sDay_.get(), eDay_.get()))
        return true;
    DEBUG_LOG("System_FileIteratorLinux::audit: failed calcRecursiveDirMembers\n");
    return false;
}

System_OpenFolder System_FileIteratorLinux::Walk::openRoot(Frame& frame) {
    const std::string& path = owner_.path_;
    frame.node = owner_.fsoRootDir_.get();
    frame.pathLength = path.size();
    place_ = path;
    enter(frame);
    for (auto point = mounts_.lower_bound(place_); point != mounts_.end() && point->first.starts_with(place_);
         ++point)
        longestMountPoint_ = std::max(longestMountPoint_, point->first.size());
    System_OpenFolder folder = System_OpenFolder::atPath(path);
    const bool isAnswering = folder || errno != ETIMEDOUT;
    struct stat status {};
    if (isAnswering && lstat(path.c_str(), &status) == 0) {
        const auto device = static_cast<std::uint32_t>(status.st_dev);
        DEBUG_LOG("System_FileIteratorLinux::audit: devID= %u, dir= %s\n", device, path.c_str());
        inodeSet_.emplace(status.st_ino, device);
    } else {
        DEBUG_LOG("System_FileIteratorLinux::audit: lstat failed: %s\n", path.c_str());
    }
    if (folder)
        frame.id = idOf(folder.descriptor()).value_or(FileId());
    return folder;
}

/// Nothing if memory is short.
std::optional<Frame> System_FileIteratorLinux::Walk::next() {
    while (frames_.back().waiting == 0)
        leave();
    Frame& parent = frames_.back();
    --parent.waiting;
    place_.resize(parent.pathLength);
    enter(parent);
    Waiting waiting = std::move(waiting_.back());
    waiting_.pop_back();
    readAhead();
    Frame frame;
    frame.name = std::move(waiting.name);
    frame.id = waiting.id;
    frame.depth = parent.depth + 1;
    frame.job = waiting.job;
    if (waiting.found && !makeNode(frame, *waiting.found))
        return std::nullopt;
    place_ += frame.name;
    frame.pathLength = place_.size();
    enter(frame);
    return frame;
}

/// The object of a directory gets its path when it is offered: those of all that are open would be long.
bool System_FileIteratorLinux::Walk::makeNode(Frame& frame, const System_FoundEntry& found) {
    std::unique_ptr<System_FileSystemObject> node = System_FactoryAllocateFileSystemObject();
    if (!node) {
        DEBUG_LOG("System_FileIteratorLinux::audit: failed to allocate dir\n");
        return false;
    }
    static_cast<System_FileSystemObjectLinux&>(*node).take(frame.name, found, fso_);
    frame.node = node.get();
    frames_.back().node->getChildren()->push_back(std::move(node));
    ++nodes_;
    largestMap_ = std::max(largestMap_, ++nodesNow_);
    return true;
}

void System_FileIteratorLinux::Walk::enter(const Frame& frame) {
    if (place_.size() == frame.pathLength && !place_.ends_with('/'))
        place_ += '/';
}

System_OpenFolder System_FileIteratorLinux::Walk::open(const Frame& frame) {
    if (frame.job != nullptr && readAhead_->take(frame.job, prepared_) && prepared_.folder)
        return std::move(prepared_.folder);
    prepared_.entries.clear();
    prepared_.isWhole = false;
    Frame& parent = frames_.back();
    return reopen(parent) ? System_OpenFolder(parent.descriptor->get(), frame.name.c_str())
                          : System_OpenFolder();
}

void System_FileIteratorLinux::Walk::readAhead() {
    if (!readAhead_ && entries_ >= entriesUntilReadAhead_ && owner_.readAhead_ != ReadAhead::Never) {
        readAhead_ = owner_.readAhead_ == ReadAhead::AtOnce ? std::make_unique<System_ReadAhead>()
                                                            : System_ReadAhead::start();
        entriesUntilReadAhead_ = entries_ + entriesOfShortWalk;
    }
    if (readAhead_)
        offerNext();
}

/// Has the directories on top of the stack read ahead.
void System_FileIteratorLinux::Walk::offerNext() {
    std::array<System_ReadAhead::Job*, mostOffered> jobs{};
    std::size_t count = 0;
    std::size_t parent = frames_.size() - 1;
    std::size_t passed = 0; // of those that wait for the parent
    for (std::size_t at = waiting_.size(); at-- != 0 && waiting_.size() - at <= mostOffered; ++passed) {
        for (; frames_[parent].waiting == passed; --parent)
            passed = 0;
        Waiting& each = waiting_[at];
        const Frame& above = frames_[parent];
        if (each.job == nullptr && above.descriptor && !hasMountPointBelow(above, each.name))
            each.job = readAhead_->offer(above.descriptor, each.name);
        if (each.job != nullptr)
            jobs.at(count++) = each.job;
    }
    readAhead_->setNext(std::span(jobs).first(count));
}

/// Opens a directory again that was closed since there were too many: up from the one that was left last, and
/// if that leads elsewhere by now, down from the root. It has to be the same directory.
bool System_FileIteratorLinux::Walk::reopen(Frame& frame) {
    if (frame.descriptor)
        return true;
    for (; left_ && leftDepth_ > frame.depth; --leftDepth_)
        left_ = shared(File_Descriptor(openat(left_->get(), "..", reachFlags)));
    if ((!left_ || idOf(left_->get()) != frame.id) && !reachFromRoot(frame))
        return false;
    frame.descriptor = std::move(left_);
    ++openFrames_;
    firstOpen_ = std::min(firstOpen_, frames_.size() - 1);
    return true;
}

bool System_FileIteratorLinux::Walk::reachFromRoot(const Frame& frame) {
    File_Descriptor reached(::open(owner_.path_.c_str(), reachFlags & ~O_NOFOLLOW));
    std::string_view rest = std::string_view(place_).substr(0, frame.pathLength).substr(owner_.path_.size());
    while (reached && !rest.empty()) {
        rest.remove_prefix(std::min(rest.find_first_not_of('/'), rest.size()));
        const std::string name(rest.substr(0, rest.find('/')));
        rest.remove_prefix(name.size());
        if (!name.empty())
            reached.reset(openat(reached.get(), name.c_str(), reachFlags));
    }
    left_ = shared(std::move(reached));
    return left_ && idOf(left_->get()) == frame.id;
}

/// Puts a directory that has been read where its subdirectories find it.
void System_FileIteratorLinux::Walk::keep(Frame frame, File_Descriptor descriptor) {
    if (!isMapMode()) {
        if (!frames_.empty() && frames_.back().waiting == 0)
            leave();
        if (frame.waiting == 0) {
            left_ = shared(std::move(descriptor));
            leftDepth_ = frame.depth;
            return;
        }
    }
    frame.descriptor = shared(std::move(descriptor));
    openFrames_ += frame.descriptor ? 1 : 0;
    frames_.push_back(std::move(frame));
    keepFewOpen();
    if (isMapMode())
        rollUp();
}

void System_FileIteratorLinux::Walk::leave() {
    Frame& frame = frames_.back();
    if (frame.descriptor) {
        left_ = std::move(frame.descriptor);
        leftDepth_ = frame.depth;
        --openFrames_;
    }
    frames_.pop_back();
    firstOpen_ = std::min(firstOpen_, frames_.size());
}

void System_FileIteratorLinux::Walk::keepFewOpen() {
    while (openFrames_ > mostOpenFolders) {
        while (!frames_[firstOpen_].descriptor)
            ++firstOpen_;
        frames_[firstOpen_].descriptor.reset();
        --openFrames_;
    }
}

System_FileIteratorLinux::Walk::Outcome System_FileIteratorLinux::Walk::read(Frame& frame,
                                                                             System_OpenFolder& folder) {
    totals_ = {};
    Outcome outcome = Outcome::GoOn;
    const std::uint64_t entriesBefore = entries_;
    if (folder) {
        const System_WalkedFolder walked{folder.descriptor(),
                                         std::string_view(place_).substr(0, frame.pathLength), place_};
        fso_.enter(walked);
        findMountPoints();
        for (std::size_t at = 0; outcome == Outcome::GoOn && at < prepared_.entries.size(); ++at)
            outcome = look(prepared_.nameOf(at), walked, frame, &prepared_.entries[at]);
        while (outcome == Outcome::GoOn && !prepared_.isWhole) {
            const std::optional<std::string_view> name = folder.next(buffer_);
            if (!name)
                break;
            outcome = look(*name, walked, frame);
        }
        if (folder.error() != 0) {
            DEBUG_LOG("System_FileIteratorLinux::audit: unable to read directory %s: %s\n",
                      pathOf(frame).c_str(), std::strerror(folder.error()));
            record(pathOf(frame).c_str());
        }
    }
    // There may be very many directories without an entry, one after another.
    if (entries_ == entriesBefore)
        outcome = askTerminator();
    if (isMapMode() && outcome != Outcome::Failed)
        closeAccount(frame);
    if (folder && !folder.restoreTime())
        DEBUG_LOG("System_FileIteratorLinux::audit: set directory time failed %s %s\n", pathOf(frame).c_str(),
                  std::strerror(errno));
    return outcome;
}

/// One entry of the directory.
System_FileIteratorLinux::Walk::Outcome
System_FileIteratorLinux::Walk::look(std::string_view name, const System_WalkedFolder& folder, Frame& frame,
                                     const System_PreparedFolder::Entry* known) {
    ++entries_;
    if (mountsHere_.empty() || !isSkipped(name)) {
        fso_.prepareForAudit();
        const bool isAudited = known != nullptr ? fso_.auditEntry(folder, name, known->status, known->error)
                                                : fso_.auditEntry(folder, name);
        if (!isAudited) {
            DEBUG_LOG("System_FileIteratorLinux::audit: failed fso audit %s\n", fso_.getPath());
            record(fso_.getPath());
            return askTerminator();
        }
        if (!fso_.getIsDirectory())
            takeFile();
        else
            takeFolder(name, frame);
        fso_.cleanupAfterAudit();
    }
    return askTerminator();
}

void System_FileIteratorLinux::Walk::findMountPoints() {
    mountsHere_.clear();
    for (auto point = mounts_.lower_bound(place_); point != mounts_.end() && point->first.starts_with(place_);
         ++point)
        if (point->first.size() > place_.size() && point->first.find('/', place_.size()) == std::string::npos)
            mountsHere_.push_back(point);
}

bool System_FileIteratorLinux::Walk::isSkipped(std::string_view name) const {
    const auto point = std::find_if(mountsHere_.begin(), mountsHere_.end(), [&](const auto& each) {
        return std::string_view(each->first).substr(place_.size()) == name;
    });
    if (point == mountsHere_.end() || owner_.skipMethod_ == SkipNone)
        return false;
    return owner_.skipMethod_ != SkipUnsupported ||
           !System_VerifyFSTypeSupport((*point)->second->fileSystemType.c_str());
}

/// Then the directory is not read ahead: that looks at every entry, and a mount point whose server is gone
/// may not answer.
bool System_FileIteratorLinux::Walk::hasMountPointBelow(const Frame& parent, const std::string& name) const {
    if (parent.pathLength >= longestMountPoint_)
        return false;
    std::string path = pathOf(parent);
    if (!path.ends_with('/'))
        path += '/';
    path.append(name).append("/");
    const auto point = mounts_.lower_bound(path);
    return point != mounts_.end() && point->first.starts_with(path);
}

void System_FileIteratorLinux::Walk::takeFile() {
    totals_.size += fso_.getSize();
    evaluate();
    totals_.filesAccessed += fso_.getNumFilesAccessed();
    totals_.filesModified += fso_.getNumFilesModified();
    ++totals_.files;
}

void System_FileIteratorLinux::Walk::takeFolder(std::string_view name, Frame& frame) {
    if (isDuplicate())
        return;
    ++totals_.dirs;
    if (!isMapMode())
        evaluate();
    if (isOneLevel())
        return;
    Waiting found{std::string(name), {fso_.found().status.st_dev, fso_.getInode()}, nullptr};
    if (isMapMode())
        found.found = std::make_unique<System_FoundEntry>(fso_.found());
    waiting_.push_back(std::move(found));
    ++frame.waiting;
    largestStack_ = std::max(largestStack_, waiting_.size());
}

bool System_FileIteratorLinux::Walk::hasBeenMet() const {
    const auto [first, last] = inodeSet_.equal_range(fso_.getInode());
    return std::any_of(first, last, [&](const auto& each) { return each.second == fso_.getInodeDevice(); });
}

/// Whether the directory has been met under another name.
bool System_FileIteratorLinux::Walk::isDuplicate() {
    if (hasBeenMet()) {
        DEBUG_LOG("System_FileIteratorLinux::audit: ignore hard link path=%s, inode=%u, devID=%u\n",
                  fso_.getPath(), static_cast<unsigned>(fso_.getInode()), fso_.getInodeDevice());
        return true;
    }
    // A root that is read alone is looked at twice.
    if (gIgnoreHardlinkDirs && !isOneLevel())
        inodeSet_.emplace(fso_.getInode(), fso_.getInodeDevice());
    return false;
}

void System_FileIteratorLinux::Walk::evaluate() {
    if (owner_.fileEvaluator_->evaluateFile(&fso_, sDay_.get(), eDay_.get()))
        return;
    DEBUG_LOG("System_FileIteratorLinux::audit: failed evaluateFile %s\n", fso_.getPath());
    record(fso_.getPath());
}

void System_FileIteratorLinux::Walk::record(const char* path) const {
    if (owner_.auditFailures_ != nullptr)
        owner_.auditFailures_->record(path, System_Object::FSO);
}

System_FileIteratorLinux::Walk::Outcome System_FileIteratorLinux::Walk::askTerminator() const {
    bool succeeds = false;
    if (owner_.iterationTerminator_ == nullptr || !owner_.iterationTerminator_->terminateIteration(succeeds))
        return Outcome::GoOn;
    return succeeds ? Outcome::Stopped : Outcome::Failed;
}

void System_FileIteratorLinux::Walk::closeAccount(const Frame& frame) const {
    System_FileSystemObject& node = *frame.node;
    node.setNumFiles(totals_.files);
    node.setNumFilesRecursive(totals_.files);
    node.setSizeRecursive(totals_.size);
    node.setNumFilesAccessedRecursive(totals_.filesAccessed);
    node.setNumFilesModifiedRecursive(totals_.filesModified);
    node.setNumDirs(totals_.dirs);
    node.setNumDirsRecursive(totals_.dirs);
}

/// Offers the directory that was read last if nothing is left below it, and those above it as far as they
/// become complete by that. One that is not taken stays, and is offered once more at the end.
void System_FileIteratorLinux::Walk::rollUp() {
    while (frames_.size() > 1 && frames_.back().waiting == 0 && frames_.back().node->getChildren()->empty()) {
        const Frame& frame = frames_.back();
        Frame& parent = frames_[frames_.size() - 2];
        System_FileSystemObject& node = *frame.node;
        node.setPath(pathOf(frame).c_str());
        node.setParentDirPath(pathOf(parent).c_str());
        if (!owner_.fileEvaluator_->evaluateFile(&node, sDay_.get(), eDay_.get()))
            return;
        parent.node->addRecursiveMembers(node);
        // Those that were found last are read first.
        System_FileSystemObject::Children& siblings = *parent.node->getChildren();
        const auto own = std::find_if(siblings.rbegin(), siblings.rend(),
                                      [&](const auto& each) { return each.get() == &node; });
        siblings.erase(std::prev(own.base()));
        --nodesNow_;
        leave();
        if (waiting_.empty() || frames_.back().waiting != 0)
            return;
    }
}

/// Offers the directories of a root that is read alone, once its files have been: by a second look, so that
/// there may be any number of them.
bool System_FileIteratorLinux::Walk::offerFolders() {
    place_.resize(owner_.path_.size());
    Frame frame;
    frame.pathLength = place_.size();
    enter(frame);
    System_OpenFolder folder = System_OpenFolder::atPath(owner_.path_);
    if (!folder)
        return false;
    const System_WalkedFolder walked{folder.descriptor(),
                                     std::string_view(place_).substr(0, frame.pathLength), place_};
    fso_.enter(walked);
    bool succeeds = true;
    while (const std::optional<std::string_view> name = folder.next(buffer_)) {
        if (!mountsHere_.empty() && isSkipped(*name))
            continue;
        fso_.prepareForAudit();
        if (!fso_.auditEntry(walked, *name) || !fso_.getIsDirectory() || hasBeenMet())
            continue;
        owner_.fileEvaluator_->evaluateFile(&fso_, sDay_.get(), eDay_.get());
        fso_.cleanupAfterAudit();
        if (owner_.iterationTerminator_ != nullptr &&
            owner_.iterationTerminator_->terminateIteration(succeeds))
            break;
    }
    folder.restoreTime();
    return succeeds;
}
