#include "storage/Storage_StorageVolume.h"

#include "storage/Storage_Factory.h"

bool Storage_StorageVolume::serialize(xercesc::DOMDocument* document, xercesc::DOMElement* parent,
                                      xercesc::DOMElement* element) {
    return serializeObject(*this, Storage_StorageVolumesShape::memberElement, document, parent, element);
}

std::unique_ptr<Storage_StorageVolume> Storage_StorageVolumesShape::allocate() {
    return Storage_FactoryAllocateStorageVolume();
}
