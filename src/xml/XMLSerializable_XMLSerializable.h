#pragma once

#include "xml/Xerces_Types.h"

/// Root of everything that has an XML form. Both operations report every failure, an exception of the XML
/// library or a lack of memory included, as false; no exception leaves them.
class XMLSerializable_XMLSerializable {
public:
    XMLSerializable_XMLSerializable() = default;
    XMLSerializable_XMLSerializable(const XMLSerializable_XMLSerializable&) = delete;
    XMLSerializable_XMLSerializable& operator=(const XMLSerializable_XMLSerializable&) = delete;
    virtual ~XMLSerializable_XMLSerializable() = default;

    /// Takes the object's state from `element`, which is text from outside. After a failure the object holds
    /// what had been read.
    virtual bool parse(xercesc::DOMElement* element) = 0;
    /// Writes the object into `element`, or into a new element of `document` if that is null, and appends it
    /// to `parent`. After a failure nothing new hangs on `parent`.
    virtual bool serialize(xercesc::DOMDocument* document, xercesc::DOMElement* parent,
                           xercesc::DOMElement* element) = 0;
};
