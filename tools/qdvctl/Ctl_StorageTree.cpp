#include "qdvctl/Ctl_StorageTree.h"

#include "model/Storage_Tables.h"
#include "qdvctl/Ctl_Render.h"
#include "qdvctl/Ctl_Text.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <map>
#include <set>
#include <utility>

namespace {

using Type = System_Object::StorageType;

/// What the agent says decides how often an object is repeated.
constexpr std::size_t mostLines = 100000;
constexpr unsigned treeStep = 2;

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
constexpr std::size_t levelCount = std::size(levels);

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

std::string attributeOf(const Ctl_Node& node, const char* name) {
    const std::string* value = node.attribute(name);
    return value == nullptr ? std::string() : *value;
}

std::string compositionText(const Ctl_Node& node) {
    const std::string text = attributeOf(node, "composition");
    return text == Storage_Composition_String[Composition_Unknown] ? std::string() : Ctl_Printable(text);
}

/// "931.5 GiB"; empty for nothing.
std::string sizeText(const std::string& bytes) {
    constexpr double step = 1024;
    double size = std::strtod(bytes.c_str(), nullptr);
    if (!(size > 0))
        return {};
    constexpr const char* units[] = {"B", "KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
    std::size_t unit = 0;
    for (; size >= step && unit + 1 < std::size(units); ++unit)
        size /= step;
    std::array<char, 32> text = {};
    std::snprintf(text.data(), text.size(), "%.*f %s", unit == 0 ? 0 : 1, size, units[unit]);
    return text.data();
}

class Stack {
public:
    explicit Stack(const std::vector<Ctl_Node>& results) {
        for (const Ctl_Node& collection : results) {
            if (collection.name == Storage_Type_Strings[System_Object::StorageAssociations])
                addLinks(collection);
            for (const Ctl_Node& object : collection.children)
                if (const std::size_t level = levelOf(object.name); level < levelCount)
                    objects_[{level, attributeOf(object, "name")}].form = &object;
        }
        // From the bottom, so that what lies below a placeholder is known when it moves up.
        for (auto entry = objects_.rbegin(); entry != objects_.rend(); ++entry)
            settle(entry->first, entry->second);
    }

    std::string text(std::optional<Type> top) {
        rows_ = {{"object", "level", "size", "composition", "mounted from"}};
        for (const auto& [key, object] : objects_)
            if (!isPlaceholder(key, object) && (top ? levels[key.first].type == *top : !below_.contains(key)))
                add(key, 0);
        return Ctl_RenderRows(rows_);
    }

private:
    /// Level and name.
    using Key = std::pair<std::size_t, std::string>;
    struct Object {
        const Ctl_Node* form = nullptr; ///< null if only links tell of it
        std::vector<Key> children;
    };

    void addLinks(const Ctl_Node& kinds) {
        for (const Ctl_Node& kind : kinds.children)
            for (const Ctl_Node& link : kind.children) {
                std::vector<Key> ends;
                for (const Ctl_Node& end : link.children)
                    if (const std::size_t level = levelOf(end.name); level < levelCount)
                        ends.emplace_back(level, attributeOf(end, "name"));
                if (ends.size() == 2 && ends.front().first != ends.back().first) {
                    const auto [upper, lower] = std::minmax(ends.front(), ends.back());
                    objects_[upper].children.push_back(lower);
                    objects_[lower];
                }
            }
    }

    /// A member of an array that is a whole drive is linked as an extent, too, which is no object of its own.
    bool isDrive(const Key& key) const {
        const auto drive = objects_.find({levelCount - 1, key.second});
        return drive != objects_.end() && drive->second.form != nullptr;
    }

    bool isPlaceholder(const Key& key, const Object& object) const {
        if (object.form == nullptr && isDrive(key))
            return true;
        return key.second.starts_with("NULL" + std::string(elementOf(key.first)) + '_') ||
               (object.form != nullptr && attributeOf(*object.form, "existence") == "false");
    }

    /// Leaves the object with its own children only: each once, none a placeholder, and none that lies below
    /// another one.
    void settle(const Key& key, Object& object) {
        std::vector<Key> candidates;
        std::set<Key> seen;
        const auto take = [&](const Key& child) {
            if (seen.insert(child).second)
                candidates.push_back(child);
        };
        for (const Key& child : object.children) {
            const Object& below = objects_.at(child);
            if (isPlaceholder(child, below))
                std::for_each(below.children.begin(), below.children.end(), take);
            else
                take(child);
        }
        const std::set<Key> deeper = allBelow(candidates);
        object.children.clear();
        for (Key& child : candidates)
            if (!deeper.contains(child)) {
                if (!isPlaceholder(key, object))
                    below_.insert(child);
                object.children.push_back(std::move(child));
            }
    }

    std::set<Key> allBelow(const std::vector<Key>& keys) const {
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

    void add(const Key& key, unsigned depth) {
        if (rows_.size() > mostLines)
            return;
        const Object& object = objects_.at(key);
        const Ctl_Node& form = object.form == nullptr ? Ctl_Node() : *object.form;
        rows_.push_back({std::string(depth * treeStep, ' ') + Ctl_Printable(key.second),
                         levels[key.first].word, sizeText(attributeOf(form, "totalBytes")),
                         compositionText(form), Ctl_Printable(attributeOf(form, "devicePath"))});
        for (const Key& child : object.children)
            add(child, depth + 1);
    }

    std::map<Key, Object> objects_;
    std::set<Key> below_; ///< what lies below something that is shown
    std::vector<std::vector<std::string>> rows_;
};

} // namespace

std::string Ctl_StorageTree(const std::vector<Ctl_Node>& results, std::optional<Type> top) {
    std::vector<Ctl_Node> failures;
    std::copy_if(results.begin(), results.end(), std::back_inserter(failures),
                 [](const Ctl_Node& each) { return each.name == "AuditFailedItems"; });
    return Stack(results).text(top) + Ctl_RenderText(failures);
}
