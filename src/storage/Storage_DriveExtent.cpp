#include "storage/Storage_DriveExtent.h"

#include "storage/Storage_Factory.h"
#include "storage/Storage_PhysicalDrive.h"

bool Storage_DriveExtent::serialize(xercesc::DOMDocument* document, xercesc::DOMElement* parent,
                                    xercesc::DOMElement* element) {
    return serializeObject(*this, Storage_DriveExtentsShape::memberElement, document, parent, element);
}

Storage_DriveExtent& Storage_DriveExtent::operator=(const Storage_PhysicalDrive& drive) {
    System_Object::operator=(drive);
    return *this;
}

std::unique_ptr<Storage_DriveExtent> Storage_DriveExtentsShape::allocate() {
    return Storage_FactoryAllocateDriveExtent();
}
