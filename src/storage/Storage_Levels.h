#pragma once

#include "model/Storage_Collection.h"
#include "model/System_Object.h"

#include <array>
#include <cstddef>
#include <memory>

/// One level of the storage stack, or the links between the levels. What is made, kept, asked for and shown
/// for a level follows from its row.
struct Storage_Level {
    /// Of its collection. The type's row of Storage_Type_Strings is the element of its form.
    System_Object::StorageType type;
    /// What an operator calls it.
    const char* word;
    /// The method that audits it.
    const char* method;
    /// New objects of this platform's classes, null when memory is short. No exception leaves them.
    std::unique_ptr<Storage_Collection> (*allocate)() noexcept;
    /// Null for the links, which are no objects.
    std::unique_ptr<System_Object> (*allocateMember)() noexcept;
};

using Storage_LevelList = std::array<Storage_Level, 6>;

/// The levels in the order in which they are audited together. The one place that chooses their classes.
extern const Storage_LevelList Storage_Levels;

/// The place of a collection's type in the list. Throws std::invalid_argument for any other type.
std::size_t Storage_LevelIndex(System_Object::StorageType type);
