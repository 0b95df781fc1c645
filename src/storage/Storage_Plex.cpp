#include "storage/Storage_Plex.h"

#include "storage/Storage_Factory.h"

bool Storage_Plex::serialize(xercesc::DOMDocument* document, xercesc::DOMElement* parent,
                             xercesc::DOMElement* element) {
    return serializeObject(*this, Storage_PlexesShape::memberElement, document, parent, element);
}

std::unique_ptr<Storage_Plex> Storage_PlexesShape::allocate() {
    return Storage_FactoryAllocatePlex();
}
