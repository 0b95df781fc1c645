#pragma once

#include "model/System_Object.h"
#include "qdvctl/Ctl_Node.h"

#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

/// The storage stack of an audit as a graph, for whatever shows it: placeholders are moved out of the way,
/// and a link that spans levels is left out where a chain of shorter ones says the same. It points into the
/// results, which must live as long. Pure; the results may hold any bytes.
class Ctl_StorageStack {
public:
    /// The level, 0 for volumes at the top, and the name.
    using Key = std::pair<std::size_t, std::string>;
    struct Object {
        const Ctl_Node* form = nullptr;                ///< null if only links tell of it
        std::vector<Key> children;                     ///< what it lies on
        std::string attribute(const char* name) const; ///< empty if there is none
        double bytes(const char* name) const;          ///< 0 if there is no such size
        std::string size(const char* name) const;      ///< the same as "931.5 GiB"; empty for 0
        std::string composition() const;               ///< printable; empty if unknown
    };
    static constexpr std::size_t levelCount = 5;

    explicit Ctl_StorageStack(const std::vector<Ctl_Node>& results);

    static const char* word(std::size_t level);
    static System_Object::StorageType type(std::size_t level);
    const std::map<Key, Object>& objects() const { return objects_; }
    bool isPlaceholder(const Key& key) const;
    /// Whether something that is shown lies on it.
    bool isBelow(const Key& key) const { return below_.contains(key); }

private:
    void addLinks(const Ctl_Node& kinds);
    bool isDrive(const Key& key) const;
    void settle(const Key& key, Object& object);
    std::set<Key> allBelow(const std::vector<Key>& keys) const;

    std::map<Key, Object> objects_;
    std::set<Key> below_;
};
