#include "storage/Storage_PhysicalDrive.h"

#include "storage/Storage_Factory.h"

bool Storage_PhysicalDrive::serialize(xercesc::DOMDocument* document, xercesc::DOMElement* parent,
                                      xercesc::DOMElement* element) {
    return serializeObject(*this, Storage_PhysicalDrivesShape::memberElement, document, parent, element);
}

std::unique_ptr<Storage_PhysicalDrive> Storage_PhysicalDrivesShape::allocate() {
    return Storage_FactoryAllocatePhysicalDrive();
}
