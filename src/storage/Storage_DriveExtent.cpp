#include "storage/Storage_DriveExtent.h"

#include "storage/Storage_PhysicalDrive.h"

Storage_DriveExtent& Storage_DriveExtent::operator=(const Storage_PhysicalDrive& drive) {
    System_Object::operator=(drive);
    return *this;
}
