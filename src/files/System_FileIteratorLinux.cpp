#include "files/System_FileIteratorLinux.h"

#include "files/System_FileSystemObjectLinux.h"
#include "files/System_FileSystemType.h"
#include "files/System_OpenFolder.h"
#include "files/System_OwnerNames.h"
#include "files/System_WalkStack.h"
#include "log/Debug_Printf.h"
#include "model/System_Allocate.h"
#include "model/System_AuditFailures.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <unordered_map>

bool gIgnoreHardlinkDirs = false;

namespace {

constexpr unsigned hoursOfWindow = 24;

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

/// One run over one tree: what is done with each entry and each directory. Which directory comes next is for
/// the stack.
class System_FileIteratorLinux::Walk {
public:
    Walk(System_FileIteratorLinux& owner, const System_MountPointMapLinux::Map& mounts)
        : owner_(owner), mounts_(mounts),
          stack_(owner.path_, mounts, owner.fsoMapRequired_, owner.readAhead_) {}

    bool run();

private:
    using Frame = System_WalkStack::Frame;
    enum class Outcome { GoOn, Stopped, Failed };

    bool isOneLevel() const { return owner_.recursionLevel_ == System_FileSystemObject::OneDirectory; }
    bool isMapMode() const { return owner_.fsoMapRequired_; }
    bool begin();
    bool finish();

    System_OpenFolder openRoot(Frame& frame);
    bool makeNode(Frame& frame);
    Outcome read(Frame& frame, System_OpenFolder& folder);
    Outcome look(std::string_view name, const System_WalkedFolder& folder, Frame& frame,
                 const System_PreparedFolder::Entry* known = nullptr);
    void findMountPoints();
    bool isSkipped(std::string_view name) const;
    void takeFile();
    void takeFolder(std::string_view name, Frame& frame);
    bool isDuplicate();
    bool hasBeenMet() const;
    void evaluate();
    void record(const char* path) const;
    Outcome askTerminator() const;

    System_WalkedFolder walkedOf(const Frame& frame, const System_OpenFolder& folder) const {
        return {folder.descriptor(), std::string_view(stack_.place()).substr(0, frame.pathLength),
                stack_.place()};
    }
    void closeAccount(const Frame& frame) const;
    void rollUp();
    bool offerFolders();

    System_FileIteratorLinux& owner_;
    const System_MountPointMapLinux::Map& mounts_;
    std::unique_ptr<System_Date> sDay_ = System_FactoryAllocateDate();
    std::unique_ptr<System_Date> eDay_ = System_FactoryAllocateDate();
    /// Stands for one entry after another.
    System_FileSystemObjectLinux fso_;
    System_WalkStack stack_;
    Totals totals_;
    std::unordered_multimap<std::uint64_t, std::uint32_t> inodeSet_;
    /// Those in the directory that is read.
    std::vector<System_MountPointMapLinux::Map::const_iterator> mountsHere_;

    std::uint64_t entries_ = 0;
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
        DEBUG_LOG("System_FileIteratorLinux::audit: unable to open directory %s\n",
                  stack_.pathOf(frame).c_str());
        return false;
    }
    Outcome outcome = Outcome::GoOn;
    for (;;) {
        outcome = read(frame, folder);
        if (outcome == Outcome::Failed)
            return false;
        stack_.keep(std::move(frame), folder.takeDescriptor());
        if (isMapMode())
            rollUp();
        if (outcome == Outcome::Stopped || stack_.isDone())
            break;
        frame = stack_.next(entries_);
        if (isMapMode() && !makeNode(frame))
            return false;
        folder = stack_.open(frame);
        if (!folder) {
            DEBUG_LOG("System_FileIteratorLinux::audit: unable to open directory %s\n",
                      stack_.pathOf(frame).c_str());
            ++owner_.unopenedFolders_;
        }
    }
    DEBUG_LOG("System_FileIteratorLinux::audit max stack size: %d\n", static_cast<int>(stack_.largest()));
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
    const char* const path = owner_.path_.c_str();
    System_OpenFolder folder = stack_.openRoot(frame);
    const bool isAnswering = folder || errno != ETIMEDOUT;
    if (!isAnswering)
        DEBUG_LOG("System_FileIteratorLinux::audit: no answer: %s\n", path);
    frame.node = owner_.fsoRootDir_.get();
    struct stat status {};
    if (isAnswering && lstat(path, &status) == 0) {
        const auto device = static_cast<std::uint32_t>(status.st_dev);
        DEBUG_LOG("System_FileIteratorLinux::audit: devID= %u, dir= %s\n", device, path);
        inodeSet_.emplace(status.st_ino, device);
    } else {
        DEBUG_LOG("System_FileIteratorLinux::audit: lstat failed: %s\n", path);
    }
    return folder;
}

/// The object of a directory gets its path when it is offered: those of all that are open would be long.
bool System_FileIteratorLinux::Walk::makeNode(Frame& frame) {
    std::unique_ptr<System_FileSystemObject> node = System_FactoryAllocateFileSystemObject();
    if (!node) {
        DEBUG_LOG("System_FileIteratorLinux::audit: failed to allocate dir\n");
        return false;
    }
    static_cast<System_FileSystemObjectLinux&>(*node).take(frame.name, *frame.found, fso_);
    frame.found.reset();
    frame.node = node.get();
    stack_.top().node->getChildren()->push_back(std::move(node));
    ++nodes_;
    largestMap_ = std::max(largestMap_, ++nodesNow_);
    return true;
}

System_FileIteratorLinux::Walk::Outcome System_FileIteratorLinux::Walk::read(Frame& frame,
                                                                             System_OpenFolder& folder) {
    totals_ = {};
    Outcome outcome = Outcome::GoOn;
    const std::uint64_t entriesBefore = entries_;
    if (folder) {
        const System_WalkedFolder walked = walkedOf(frame, folder);
        fso_.enter(walked);
        findMountPoints();
        const System_PreparedFolder& prepared = stack_.prepared();
        for (std::size_t at = 0; outcome == Outcome::GoOn && at < prepared.entries.size(); ++at)
            outcome = look(prepared.nameOf(at), walked, frame, &prepared.entries[at]);
        while (outcome == Outcome::GoOn && !prepared.isWhole) {
            const std::optional<std::string_view> name = folder.next(buffer_);
            if (!name)
                break;
            outcome = look(*name, walked, frame);
        }
        if (folder.error() != 0) {
            DEBUG_LOG("System_FileIteratorLinux::audit: unable to read directory %s: %s\n",
                      stack_.pathOf(frame).c_str(), std::strerror(folder.error()));
            record(stack_.pathOf(frame).c_str());
        }
    }
    // There may be very many directories without an entry, one after another.
    if (entries_ == entriesBefore)
        outcome = askTerminator();
    if (isMapMode() && outcome != Outcome::Failed)
        closeAccount(frame);
    if (folder && !folder.restoreTime())
        DEBUG_LOG("System_FileIteratorLinux::audit: set directory time failed %s %s\n",
                  stack_.pathOf(frame).c_str(), std::strerror(errno));
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
    const std::string& place = stack_.place();
    for (auto point = mounts_.lower_bound(place); point != mounts_.end() && point->first.starts_with(place);
         ++point)
        if (point->first.size() > place.size() && point->first.find('/', place.size()) == std::string::npos)
            mountsHere_.push_back(point);
}

bool System_FileIteratorLinux::Walk::isSkipped(std::string_view name) const {
    const auto point = std::find_if(mountsHere_.begin(), mountsHere_.end(), [&](const auto& each) {
        return std::string_view(each->first).substr(stack_.place().size()) == name;
    });
    if (point == mountsHere_.end() || owner_.skipMethod_ == SkipNone)
        return false;
    return owner_.skipMethod_ != SkipUnsupported ||
           !System_VerifyFSTypeSupport((*point)->second->fileSystemType.c_str());
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
    System_WalkStack::Waiting found{
        std::string(name), {fso_.found().status.st_dev, fso_.getInode()}, nullptr};
    if (isMapMode())
        found.found = std::make_unique<System_FoundEntry>(fso_.found());
    stack_.add(frame, std::move(found));
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
    while (stack_.size() > 1 && stack_.top().waiting == 0 && stack_.top().node->getChildren()->empty()) {
        const Frame& frame = stack_.top();
        Frame& parent = stack_.parentOfTop();
        System_FileSystemObject& node = *frame.node;
        node.setPath(stack_.pathOf(frame).c_str());
        node.setParentDirPath(stack_.pathOf(parent).c_str());
        if (!owner_.fileEvaluator_->evaluateFile(&node, sDay_.get(), eDay_.get()))
            return;
        parent.node->addRecursiveMembers(node);
        // Those that were found last are read first.
        System_FileSystemObject::Children& siblings = *parent.node->getChildren();
        const auto own = std::find_if(siblings.rbegin(), siblings.rend(),
                                      [&](const auto& each) { return each.get() == &node; });
        siblings.erase(std::prev(own.base()));
        --nodesNow_;
        stack_.leave();
        if (stack_.isDone() || stack_.top().waiting != 0)
            return;
    }
}

/// Offers the directories of a root that is read alone, once its files have been: by a second look, so that
/// there may be any number of them.
bool System_FileIteratorLinux::Walk::offerFolders() {
    Frame frame;
    frame.pathLength = owner_.path_.size();
    System_OpenFolder folder = System_OpenFolder::atPath(owner_.path_);
    if (!folder)
        return false;
    const System_WalkedFolder walked = walkedOf(frame, folder);
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
