#include "storage/Storage_DriveExtent.h"

#include "storage/Storage_PhysicalDrive.h"

bool Storage_DriveExtent::serialize(xercesc::DOMDocument* document, xercesc::DOMElement* parent,
                                    xercesc::DOMElement* element) {
    return serializeObject(*this, Storage_Type_Strings[storageType], document, parent, element);
}

Storage_DriveExtent& Storage_DriveExtent::operator=(const Storage_PhysicalDrive& drive) {
    System_Object::operator=(drive);
    return *this;
}
