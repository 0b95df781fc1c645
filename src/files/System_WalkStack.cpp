#include "files/System_WalkStack.h"

#include <algorithm>
#include <array>
#include <fcntl.h>
#include <optional>
#include <span>
#include <string_view>

namespace {

/// How many directories stay open while their subdirectories are read. The others are opened again from
/// below.
constexpr std::size_t mostOpenFolders = 64;
/// A second thread is tried for after so many entries, and again after as many.
constexpr std::uint64_t entriesOfShortWalk = 4096;
/// How many directories that come next are offered to it.
constexpr std::size_t mostOffered = 16;

/// For a directory that is only gone through.
constexpr int reachFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NOFOLLOW;

std::optional<System_WalkStack::FileId> idOf(int descriptor) {
    struct stat status {};
    if (fstat(descriptor, &status) != 0)
        return std::nullopt;
    return System_WalkStack::FileId{status.st_dev, status.st_ino};
}

System_ReadAhead::Parent shared(File_Descriptor descriptor) {
    return descriptor ? std::make_shared<const File_Descriptor>(std::move(descriptor)) : nullptr;
}

} // namespace

System_WalkStack::System_WalkStack(const std::string& root, const Mounts& mounts, bool keepsAll,
                                   ReadAhead readAhead)
    : root_(root), mounts_(mounts), keepsAll_(keepsAll), use_(readAhead),
      entriesUntilReadAhead_(readAhead == ReadAhead::AtOnce ? 0 : entriesOfShortWalk) {}

System_OpenFolder System_WalkStack::openRoot(Frame& frame) {
    place_ = root_;
    frame.pathLength = place_.size();
    enter(frame);
    for (auto point = mounts_.lower_bound(place_); point != mounts_.end() && point->first.starts_with(place_);
         ++point)
        longestMountPoint_ = std::max(longestMountPoint_, point->first.size());
    System_OpenFolder folder = System_OpenFolder::atPath(root_);
    if (folder)
        frame.id = idOf(folder.descriptor()).value_or(FileId());
    return folder;
}

void System_WalkStack::add(Frame& parent, Waiting found) {
    waiting_.push_back(std::move(found));
    ++parent.waiting;
    largest_ = std::max(largest_, waiting_.size());
}

System_WalkStack::Frame System_WalkStack::next(std::uint64_t entries) {
    while (frames_.back().waiting == 0)
        leave();
    Frame& parent = frames_.back();
    --parent.waiting;
    place_.resize(parent.pathLength);
    enter(parent);
    Waiting waiting = std::move(waiting_.back());
    waiting_.pop_back();
    readAhead(entries);
    Frame frame;
    frame.name = std::move(waiting.name);
    frame.id = waiting.id;
    frame.depth = parent.depth + 1;
    frame.job = waiting.job;
    frame.found = std::move(waiting.found);
    place_ += frame.name;
    frame.pathLength = place_.size();
    enter(frame);
    return frame;
}

void System_WalkStack::enter(const Frame& frame) {
    if (place_.size() == frame.pathLength && !place_.ends_with('/'))
        place_ += '/';
}

System_OpenFolder System_WalkStack::open(const Frame& frame) {
    if (frame.job != nullptr && readAhead_->take(frame.job, prepared_) && prepared_.folder)
        return std::move(prepared_.folder);
    prepared_.entries.clear();
    prepared_.isWhole = false;
    Frame& parent = frames_.back();
    return reopen(parent) ? System_OpenFolder(parent.descriptor->get(), frame.name.c_str())
                          : System_OpenFolder();
}

void System_WalkStack::readAhead(std::uint64_t entries) {
    if (!readAhead_ && entries >= entriesUntilReadAhead_ && use_ != ReadAhead::Never) {
        readAhead_ =
            use_ == ReadAhead::AtOnce ? std::make_unique<System_ReadAhead>() : System_ReadAhead::start();
        entriesUntilReadAhead_ = entries + entriesOfShortWalk;
    }
    if (readAhead_)
        offerNext();
}

/// Has the directories on top of the stack read ahead.
void System_WalkStack::offerNext() {
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

/// Then the directory is not read ahead: that looks at every entry, and a mount point whose server is gone
/// may not answer.
bool System_WalkStack::hasMountPointBelow(const Frame& parent, const std::string& name) const {
    if (parent.pathLength >= longestMountPoint_)
        return false;
    std::string path = pathOf(parent);
    if (!path.ends_with('/'))
        path += '/';
    path.append(name).append("/");
    const auto point = mounts_.lower_bound(path);
    return point != mounts_.end() && point->first.starts_with(path);
}

/// Opens a directory again that was closed since there were too many: up from the one that was left last, and
/// if that leads elsewhere by now, down from the root. It has to be the same directory.
bool System_WalkStack::reopen(Frame& frame) {
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

bool System_WalkStack::reachFromRoot(const Frame& frame) {
    File_Descriptor reached(::open(root_.c_str(), reachFlags & ~O_NOFOLLOW));
    std::string_view rest = std::string_view(place_).substr(0, frame.pathLength).substr(root_.size());
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

void System_WalkStack::keep(Frame frame, File_Descriptor descriptor) {
    if (!keepsAll_) {
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
}

void System_WalkStack::leave() {
    Frame& frame = frames_.back();
    if (frame.descriptor) {
        left_ = std::move(frame.descriptor);
        leftDepth_ = frame.depth;
        --openFrames_;
    }
    frames_.pop_back();
    firstOpen_ = std::min(firstOpen_, frames_.size());
}

void System_WalkStack::keepFewOpen() {
    while (openFrames_ > mostOpenFolders) {
        while (!frames_[firstOpen_].descriptor)
            ++firstOpen_;
        frames_[firstOpen_].descriptor.reset();
        --openFrames_;
    }
}
