#include "storage/Storage_RaidLevels.h"

namespace {

using Flag = void (System_Object::*)(bool);

struct Level {
    std::string_view inRaidtab;
    std::string_view ofMdadm;
    Flag flag;
    Storage_Composition composition;
    bool isLater = false;
};

constexpr Level levels[] = {
    {"0", "raid0", &System_Object::setIsPartOfStripeSet, Composition_RAID0},
    {"1", "raid1", &System_Object::setIsPartOfMirrorSet, Composition_RAID1},
    {"4", "raid4", &System_Object::setIsPartOfStripeSet, Composition_RAID4},
    {"5", "raid5", &System_Object::setIsPartOfStripeSet, Composition_RAID5},
    {"", "raid6", &System_Object::setIsPartOfStripeSet, Composition_RAID6, true},
    // A stripe of mirrors has no name of its own.
    {"", "raid10", &System_Object::setIsPartOfMirrorSet, Composition_RAID1, true},
    {"", "raid10", &System_Object::setIsPartOfStripeSet, Composition_RAID0, true},
    {"linear", "linear", &System_Object::setIsPartOfConcatenationSet, Composition_Concatenated},
};

struct Segment {
    std::string_view type;
    Flag flag;
    Storage_Composition composition;
};

constexpr Segment segments[] = {
    {"linear", &System_Object::setIsPartOfConcatenationSet, Composition_Linear},
    {"mirror", &System_Object::setIsPartOfMirrorSet, Composition_Mirrored},
    {"striped", &System_Object::setIsPartOfStripeSet, Composition_Striped},
};

} // namespace

void Storage_ShowRaidLevel(System_Object& object, std::string_view level, Storage_RaidShows shows,
                           bool isLaterKernel) {
    for (const Level& each : levels) {
        if (level.empty() || (level != each.inRaidtab && level != each.ofMdadm) ||
            (each.isLater && !isLaterKernel))
            continue;
        (object.*each.flag)(true);
        if (shows == Storage_RaidShows::FlagsAndComposition)
            object.addComposition(each.composition);
    }
}

void Storage_ShowSegmentType(System_Object& object, std::string_view type, bool isLaterKernel) {
    for (const Segment& each : segments) {
        if (type != each.type)
            continue;
        (object.*each.flag)(true);
        object.addComposition(each.composition);
        return;
    }
    // "raid5_ls": how the parity is laid out says nothing of what it is.
    const std::string_view level = type.substr(0, type.find('_'));
    if (isLaterKernel && level.starts_with("raid"))
        Storage_ShowRaidLevel(object, level, Storage_RaidShows::FlagsAndComposition, true);
    if (object.getComposition().empty())
        object.addComposition(Composition_Unknown);
}
