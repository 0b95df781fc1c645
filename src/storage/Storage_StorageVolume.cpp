#include "storage/Storage_StorageVolume.h"

#include "storage/Storage_Factory.h"

bool Storage_StorageVolume::serialize(xercesc::DOMDocument* document, xercesc::DOMElement* parent,
                                      xercesc::DOMElement* element) {
    return serializeObject(*this, Storage_StorageVolumesShape::memberElement, document, parent, element);
}

Storage_StorageVolume& Storage_StorageVolume::operator=(const Storage_StorageVolume& other) {
    System_Object::operator=(other);
    return *this;
}

std::unique_ptr<Storage_StorageVolume> Storage_StorageVolumesShape::allocate() {
    return Storage_FactoryAllocateStorageVolume();
}
