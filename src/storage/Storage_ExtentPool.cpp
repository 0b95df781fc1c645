#include "storage/Storage_ExtentPool.h"

bool Storage_ExtentPool::serialize(xercesc::DOMDocument* document, xercesc::DOMElement* parent,
                                   xercesc::DOMElement* element) {
    return serializeObject(*this, Storage_Type_Strings[storageType], document, parent, element);
}
