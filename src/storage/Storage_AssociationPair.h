#pragma once

#include "model/System_ObjectTypePair.h"

#include <utility>

/// A link between two objects. It has no direction, but keeps the order in which it was made. Does not change
/// once it is made.
class Storage_AssociationPair {
public:
    Storage_AssociationPair(System_ObjectTypePair first, System_ObjectTypePair second)
        : first_(std::move(first)), second_(std::move(second)) {}
    Storage_AssociationPair(const Storage_AssociationPair&) = delete;
    Storage_AssociationPair& operator=(const Storage_AssociationPair&) = delete;
    virtual ~Storage_AssociationPair() = default;

    const System_ObjectTypePair* getFirstItem() const { return &first_; }
    const System_ObjectTypePair* getSecondItem() const { return &second_; }

private:
    const System_ObjectTypePair first_;
    const System_ObjectTypePair second_;
};
