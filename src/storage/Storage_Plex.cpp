#include "storage/Storage_Plex.h"

bool Storage_Plex::serialize(xercesc::DOMDocument* document, xercesc::DOMElement* parent,
                             xercesc::DOMElement* element) {
    return serializeObject(*this, Storage_Type_Strings[storageType], document, parent, element);
}
