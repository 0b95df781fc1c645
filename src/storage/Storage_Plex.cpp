#include "storage/Storage_Plex.h"

#include "storage/Storage_Factory.h"

bool Storage_Plex::serialize(xercesc::DOMDocument* document, xercesc::DOMElement* parent,
                             xercesc::DOMElement* element) {
    return serializeObject(*this, Storage_PlexesShape::memberElement, document, parent, element);
}

Storage_Plex& Storage_Plex::operator=(const Storage_Plex& other) {
    System_Object::operator=(other);
    return *this;
}

std::unique_ptr<Storage_Plex> Storage_PlexesShape::allocate() {
    return Storage_FactoryAllocatePlex();
}
