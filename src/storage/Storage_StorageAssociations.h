#pragma once

#include "model/Storage_Collection.h"
#include "model/System_Object.h"
#include "storage/Storage_AssociationPair.h"

#include <deque>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

/// The links between the objects of the levels, which never point at each other. Every audit adds to it.
///
/// The links stay in the order in which they were added, and one that is added twice is there twice. An
/// object's links are found by an index, so the work of an audit grows with the number of links and not with
/// its square. Links of six kinds are written: each kind is one element with one item for each of its links.
/// The other kinds only serve the audits.
class Storage_StorageAssociations : public Storage_Collection {
public:
    using StorageType = System_Object::StorageType;
    /// Borrowed from the list, which keeps them until it goes.
    using Pairs = std::vector<const Storage_AssociationPair*>;
    static constexpr StorageType storageType = System_Object::StorageAssociations;

    /// Whether there is a link of exactly this first and second item.
    virtual bool doesAssocPairExist(const std::string& firstName, StorageType firstType,
                                    const std::string& secondName, StorageType secondType);
    bool prepareForAudit() override { return true; }
    /// The links stay until the list goes.
    bool cleanupAfterAudit() override { return true; }
    /// Adds a copy of every link to `other`. False when memory is short.
    virtual bool copyInto(Storage_StorageAssociations& other);
    /// Adds the links of the form. Leaves the list empty after a failure.
    bool parse(xercesc::DOMElement* element) override;
    bool serialize(xercesc::DOMDocument* document, xercesc::DOMElement* parent,
                   xercesc::DOMElement* element) override;

    /// All that add give false when memory is short.
    bool addAssociation(const std::string& firstName, StorageType firstType, const std::string& secondName,
                        StorageType secondType);
    bool addAssociation(const System_Object& first, const std::string& secondName, StorageType secondType);
    bool addAssociation(const System_Object& first, const System_Object& second);
    bool addToStorageVolume_PlexAssoc(const char* volume, const char* plex);
    bool addToStorageVolume_DriveExtentAssoc(const char* volume, const char* extent);
    bool addToStorageVolume_PhysicalDriveAssoc(const char* volume, const char* drive);

    /// Appends the names of the objects of a type that `object` is linked with, in the order of the list.
    void getAssociates(const System_Object& object, StorageType associateType,
                       std::vector<std::string>& names) const;
    /// Appends the links that join the two types, in either order.
    void getAssociationPairs(StorageType one, StorageType other, Pairs& pairs) const;
    void getStorageVolume_Plex(Pairs& pairs) const;
    void getPlex_ExtentPool(Pairs& pairs) const;
    void getExtentPool_DriveExtent(Pairs& pairs) const;
    void getDriveExtent_PhysicalDrive(Pairs& pairs) const;
    void getStorageVolume_DriveExtent(Pairs& pairs) const;
    void getStorageVolume_PhysicalDrive(Pairs& pairs) const;

    void deallocateAssociations();

private:
    /// An object, and the type of what it is linked with. Names are views of those in pairs_.
    using ItemKey = std::tuple<std::string_view, int, int>;
    using PairKey = std::tuple<std::string_view, int, std::string_view, int>;

    void add(System_ObjectTypePair firstItem, System_ObjectTypePair secondItem);
    bool parseKinds(const xercesc::DOMElement& element);

    /// A deque, so that links stay where they are while more are added.
    std::deque<Storage_AssociationPair> pairs_;
    std::map<ItemKey, std::vector<const System_ObjectTypePair*>> associates_;
    std::set<PairKey> existing_;
};
