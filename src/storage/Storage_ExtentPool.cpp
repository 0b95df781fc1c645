#include "storage/Storage_ExtentPool.h"

#include "storage/Storage_Factory.h"

bool Storage_ExtentPool::serialize(xercesc::DOMDocument* document, xercesc::DOMElement* parent,
                                   xercesc::DOMElement* element) {
    return serializeObject(*this, Storage_ExtentPoolsShape::memberElement, document, parent, element);
}

std::unique_ptr<Storage_ExtentPool> Storage_ExtentPoolsShape::allocate() {
    return Storage_FactoryAllocateExtentPool();
}
