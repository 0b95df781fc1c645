#include "storage/Storage_RaidLevels.h"

namespace {

using Flag = void (System_Object::*)(bool);

struct Level {
    std::string_view inRaidtab;
    std::string_view ofMdadm;
    Flag flag;
    Storage_Composition composition;
};

constexpr Level levels[] = {
    {"0", "raid0", &System_Object::setIsPartOfStripeSet, Composition_RAID0},
    {"1", "raid1", &System_Object::setIsPartOfMirrorSet, Composition_RAID1},
    {"4", "raid4", &System_Object::setIsPartOfStripeSet, Composition_RAID4},
    {"5", "raid5", &System_Object::setIsPartOfStripeSet, Composition_RAID5},
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

void Storage_ShowRaidLevel(System_Object& object, std::string_view level, Storage_RaidShows shows) {
    for (const Level& each : levels) {
        if (level != each.inRaidtab && level != each.ofMdadm)
            continue;
        (object.*each.flag)(true);
        if (shows == Storage_RaidShows::FlagsAndComposition)
            object.addComposition(each.composition);
    }
}

void Storage_ShowSegmentType(System_Object& object, std::string_view type) {
    for (const Segment& each : segments) {
        if (type != each.type)
            continue;
        (object.*each.flag)(true);
        object.addComposition(each.composition);
        return;
    }
    object.addComposition(Composition_Unknown);
}
