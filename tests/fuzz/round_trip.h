#pragma once

#include "target.h"
#include "xml/XMLSerializable_XMLSerializable.h"
#include "xml/Xerces_Document.h"

inline std::string write(XMLSerializable_XMLSerializable& object) {
    const Xerces_DocumentPtr document = Xerces_CreateDocument("Root");
    require(object.serialize(document.get(), Xerces_Root(*document), nullptr));
    return Xerces_Serialize(*document);
}

/// What is read must be written as a form that reads as the same.
inline void checkRoundTrip(XMLSerializable_XMLSerializable& first, XMLSerializable_XMLSerializable& second,
                           xercesc::DOMElement* element) {
    if (!first.parse(element))
        return;
    const std::string written = write(first);
    const Xerces_DocumentPtr document = Xerces_Parse(written, "written");
    require(document && second.parse(Xerces_FirstDescendant(*Xerces_Root(*document), "*")));
    require(write(second) == written);
}
