#include "qdvctl/Ctl_StorageStack.h"

#include "model/Storage_Tables.h"
#include "qdvctl/Ctl_Text.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>

namespace {

using Type = System_Object::StorageType;

struct Level {
    Type type;
    const char* word;
};
/// From the top of the stack to the bottom.
constexpr Level levels[] = {{System_Object::StorageVolume, "volume"},
                            {System_Object::Plex, "plex"},
                            {System_Object::ExtentPool, "pool"},
                            {System_Object::DriveExtent, "extent"},
                            {System_Object::PhysicalDrive, "drive"}};
static_assert(std::size(levels) == Ctl_StorageStack::levelCount);
constexpr std::size_t levelCount = Ctl_StorageStack::levelCount;

const char* elementOf(std::size_t level) {
    return Storage_Type_Strings.at(static_cast<std::size_t>(levels[level].type));
}

/// levelCount for what is no object of the stack.
std::size_t levelOf(const std::string& element) {
    std::size_t level = 0;
    while (level < levelCount && element != elementOf(level))
        ++level;
    return level;
}

} // namespace

std::string Ctl_StorageStack::Object::attribute(const char* name) const {
    return form == nullptr ? std::string() : form->word(name);
}

double Ctl_StorageStack::Object::bytes(const char* name) const {
    constexpr double beyondAnySize = 1e30;
    const double told = std::strtod(attribute(name).c_str(), nullptr);
    return told > 0 && told < beyondAnySize ? told : 0;
}

std::string Ctl_StorageStack::Object::size(const char* name) const {
    const double known = bytes(name);
    return known > 0 ? Ctl_SizeText(known) : std::string();
}

std::string Ctl_StorageStack::Object::composition() const {
    const std::string text = attribute("composition");
    return text == Storage_Composition_String[Composition_Unknown] ? std::string() : Ctl_Printable(text);
}

const char* Ctl_StorageStack::word(std::size_t level) {
    return levels[level].word;
}

Type Ctl_StorageStack::type(std::size_t level) {
    return levels[level].type;
}

Ctl_StorageStack::Ctl_StorageStack(const std::vector<Ctl_Node>& results) {
    for (const Ctl_Node& collection : results) {
        if (collection.name == Storage_Type_Strings[System_Object::StorageAssociations])
            addLinks(collection);
        for (const Ctl_Node& object : collection.children)
            if (const std::size_t level = levelOf(object.name); level < levelCount)
                objects_[{level, object.word("name")}].form = &object;
    }
    // From the bottom, so that what lies below a placeholder is known when it moves up.
    for (auto entry = objects_.rbegin(); entry != objects_.rend(); ++entry)
        settle(entry->first, entry->second);
}

void Ctl_StorageStack::addLinks(const Ctl_Node& kinds) {
    for (const Ctl_Node& kind : kinds.children)
        for (const Ctl_Node& link : kind.children) {
            std::vector<Key> ends;
            for (const Ctl_Node& end : link.children)
                if (const std::size_t level = levelOf(end.name); level < levelCount)
                    ends.emplace_back(level, end.word("name"));
            if (ends.size() == 2 && ends.front().first != ends.back().first) {
                const auto [upper, lower] = std::minmax(ends.front(), ends.back());
                objects_[upper].children.push_back(lower);
                objects_[lower];
            }
        }
}

/// A member of an array that is a whole drive is linked as an extent, too, which is no object of its own.
bool Ctl_StorageStack::isDrive(const Key& key) const {
    const auto drive = objects_.find({levelCount - 1, key.second});
    return drive != objects_.end() && drive->second.form != nullptr;
}

bool Ctl_StorageStack::isPlaceholder(const Key& key) const {
    const Object& object = objects_.at(key);
    if (object.form == nullptr && isDrive(key))
        return true;
    return key.second.starts_with("NULL" + std::string(elementOf(key.first)) + '_') ||
           (object.form != nullptr && object.form->word("existence") == "false");
}

/// Leaves the object with its own children only: each once, none a placeholder, and none that lies below
/// another one.
void Ctl_StorageStack::settle(const Key& key, Object& object) {
    std::vector<Key> candidates;
    std::set<Key> seen;
    const auto take = [&](const Key& child) {
        if (seen.insert(child).second)
            candidates.push_back(child);
    };
    for (const Key& child : object.children) {
        const Object& below = objects_.at(child);
        if (isPlaceholder(child))
            std::for_each(below.children.begin(), below.children.end(), take);
        else
            take(child);
    }
    const std::set<Key> deeper = allBelow(candidates);
    object.children.clear();
    for (Key& child : candidates)
        if (!deeper.contains(child)) {
            if (!isPlaceholder(key))
                below_.insert(child);
            object.children.push_back(std::move(child));
        }
}

std::set<Ctl_StorageStack::Key> Ctl_StorageStack::allBelow(const std::vector<Key>& keys) const {
    std::set<Key> found;
    std::vector<const Key*> open;
    for (const Key& key : keys)
        open.push_back(&key);
    while (!open.empty()) {
        const Object& object = objects_.at(*open.back());
        open.pop_back();
        for (const Key& child : object.children)
            if (found.insert(child).second)
                open.push_back(&child);
    }
    return found;
}
