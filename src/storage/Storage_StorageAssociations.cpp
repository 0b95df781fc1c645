#include "storage/Storage_StorageAssociations.h"

#include "xml/XMLSerializable_Element.h"
#include "xml/Xerces_Document.h"

#include <array>
#include <stdexcept>

namespace {

using StorageType = System_Object::StorageType;
using ObjectTypes = std::array<StorageType, 2>;

/// The types that each kind of Storage_Associations_String joins.
constexpr std::array<ObjectTypes, Storage_Associations_String.size()> kinds = {{
    {System_Object::StorageVolume, System_Object::Plex},
    {System_Object::Plex, System_Object::ExtentPool},
    {System_Object::ExtentPool, System_Object::DriveExtent},
    {System_Object::DriveExtent, System_Object::PhysicalDrive},
    {System_Object::StorageVolume, System_Object::DriveExtent},
    {System_Object::StorageVolume, System_Object::PhysicalDrive},
}};

bool areSame(const System_ObjectTypePair& one, const System_ObjectTypePair& other) {
    return one.getType() == other.getType() && one.getName() == other.getName();
}

void writeItem(xercesc::DOMElement& parent, const System_ObjectTypePair& item) {
    Xerces_SetAttribute(Xerces_AppendElement(parent, item.getStorageTypeString()), "name", item.getName());
}

/// The objects of an item element, which must be one of each type of the kind, in the order in which they
/// stand.
std::array<System_ObjectTypePair, 2> readItem(const xercesc::DOMElement& element, const ObjectTypes& types) {
    std::vector<System_ObjectTypePair> items;
    for (const xercesc::DOMElement* child : Xerces_ChildElements(element))
        for (const StorageType itemType : types)
            if (Xerces_TagName(*child) == Storage_Type_Strings[itemType])
                items.emplace_back(Xerces_GetAttribute(*child, "name"), itemType);
    if (items.size() != 2 || items[0].getType() == items[1].getType())
        throw std::invalid_argument("an association joins one object of each of its types");
    return {std::move(items[0]), std::move(items[1])};
}

} // namespace

bool Storage_StorageAssociations::doesAssocPairExist(const std::string& firstName, StorageType firstType,
                                                     const std::string& secondName, StorageType secondType) {
    return existing_.contains({firstName, firstType, secondName, secondType});
}

bool Storage_StorageAssociations::copyInto(Storage_StorageAssociations& other) {
    return XMLSerializable_Attempt([&] {
        // Not by iterator: the other list may be this one.
        for (std::size_t count = pairs_.size(), at = 0; at < count; ++at)
            other.add(*pairs_[at].getFirstItem(), *pairs_[at].getSecondItem());
        return true;
    });
}

bool Storage_StorageAssociations::parse(xercesc::DOMElement* element) {
    const bool parsed = element != nullptr && XMLSerializable_Attempt([&] { return parseKinds(*element); });
    if (!parsed)
        deallocateAssociations();
    return parsed;
}

bool Storage_StorageAssociations::parseKinds(const xercesc::DOMElement& element) {
    if (Xerces_TagName(element) != Storage_Type_Strings[storageType])
        return false;
    for (std::size_t kind = 0; kind < kinds.size(); ++kind) {
        for (const auto* group : Xerces_ChildElements(element, Storage_Associations_String[kind])) {
            for (const auto* item : Xerces_ChildElements(*group, Storage_Assoc_String[kind])) {
                std::array<System_ObjectTypePair, 2> objects = readItem(*item, kinds[kind]);
                add(std::move(objects[0]), std::move(objects[1]));
            }
        }
    }
    return true;
}

bool Storage_StorageAssociations::serialize(xercesc::DOMDocument* document, xercesc::DOMElement* parent,
                                            xercesc::DOMElement* element) {
    return XMLSerializable_Attempt([&] {
        XMLSerializable_Element form(document, element, Storage_Type_Strings[storageType]);
        for (std::size_t kind = 0; kind < kinds.size(); ++kind) {
            xercesc::DOMElement& group = Xerces_AppendElement(*form, Storage_Associations_String[kind]);
            Pairs pairs;
            getAssociationPairs(kinds[kind][0], kinds[kind][1], pairs);
            for (const Storage_AssociationPair* pair : pairs) {
                xercesc::DOMElement& item = Xerces_AppendElement(group, Storage_Assoc_String[kind]);
                writeItem(item, *pair->getFirstItem());
                writeItem(item, *pair->getSecondItem());
            }
        }
        form.appendTo(parent);
        return true;
    });
}

void Storage_StorageAssociations::add(System_ObjectTypePair firstItem, System_ObjectTypePair secondItem) {
    const Storage_AssociationPair& pair = pairs_.emplace_back(std::move(firstItem), std::move(secondItem));
    const System_ObjectTypePair& first = *pair.getFirstItem();
    const System_ObjectTypePair& second = *pair.getSecondItem();
    existing_.emplace(first.getName(), first.getType(), second.getName(), second.getType());
    associates_[{first.getName(), first.getType(), second.getType()}].push_back(&second);
    if (!areSame(first, second))
        associates_[{second.getName(), second.getType(), first.getType()}].push_back(&first);
}

bool Storage_StorageAssociations::addAssociation(const std::string& firstName, StorageType firstType,
                                                 const std::string& secondName, StorageType secondType) {
    return XMLSerializable_Attempt([&] {
        add({firstName, firstType}, {secondName, secondType});
        return true;
    });
}

bool Storage_StorageAssociations::addAssociation(const System_Object& first, const std::string& secondName,
                                                 StorageType secondType) {
    return addAssociation(first.getName(), first.getStorageType(), secondName, secondType);
}

bool Storage_StorageAssociations::addAssociation(const System_Object& first, const System_Object& second) {
    return addAssociation(first, second.getName(), second.getStorageType());
}

bool Storage_StorageAssociations::addToStorageVolume_PlexAssoc(const char* volume, const char* plex) {
    return addAssociation(volume, System_Object::StorageVolume, plex, System_Object::Plex);
}

bool Storage_StorageAssociations::addToStorageVolume_DriveExtentAssoc(const char* volume,
                                                                      const char* extent) {
    return addAssociation(volume, System_Object::StorageVolume, extent, System_Object::DriveExtent);
}

bool Storage_StorageAssociations::addToStorageVolume_PhysicalDriveAssoc(const char* volume,
                                                                        const char* drive) {
    return addAssociation(volume, System_Object::StorageVolume, drive, System_Object::PhysicalDrive);
}

void Storage_StorageAssociations::getAssociates(const System_Object& object, StorageType associateType,
                                                std::vector<std::string>& names) const {
    const auto found = associates_.find({object.getName(), object.getStorageType(), associateType});
    if (found == associates_.end())
        return;
    for (const System_ObjectTypePair* associate : found->second)
        names.push_back(associate->getName());
}

void Storage_StorageAssociations::getAssociationPairs(StorageType one, StorageType other,
                                                      Pairs& pairs) const {
    for (const Storage_AssociationPair& pair : pairs_) {
        const int first = pair.getFirstItem()->getType();
        const int second = pair.getSecondItem()->getType();
        if ((first == one && second == other) || (first == other && second == one))
            pairs.push_back(&pair);
    }
}

void Storage_StorageAssociations::getStorageVolume_Plex(Pairs& pairs) const {
    getAssociationPairs(System_Object::StorageVolume, System_Object::Plex, pairs);
}

void Storage_StorageAssociations::getPlex_ExtentPool(Pairs& pairs) const {
    getAssociationPairs(System_Object::Plex, System_Object::ExtentPool, pairs);
}

void Storage_StorageAssociations::getExtentPool_DriveExtent(Pairs& pairs) const {
    getAssociationPairs(System_Object::ExtentPool, System_Object::DriveExtent, pairs);
}

void Storage_StorageAssociations::getDriveExtent_PhysicalDrive(Pairs& pairs) const {
    getAssociationPairs(System_Object::DriveExtent, System_Object::PhysicalDrive, pairs);
}

void Storage_StorageAssociations::getStorageVolume_DriveExtent(Pairs& pairs) const {
    getAssociationPairs(System_Object::StorageVolume, System_Object::DriveExtent, pairs);
}

void Storage_StorageAssociations::getStorageVolume_PhysicalDrive(Pairs& pairs) const {
    getAssociationPairs(System_Object::StorageVolume, System_Object::PhysicalDrive, pairs);
}

void Storage_StorageAssociations::deallocateAssociations() {
    existing_.clear();
    associates_.clear();
    pairs_.clear();
}
