#pragma once

#include "xml/Xerces_Document.h"

#include <string>

class XMLSerializable_XMLSerializable;

/// The XML that tests of audit objects give and get.

/// The form of `object` below an element "Root", as text without the declaration; empty if serialize fails.
std::string formOf(XMLSerializable_XMLSerializable& object);

/// The result of parse on the root of `text`, which must be a document.
bool parseInto(XMLSerializable_XMLSerializable& object, const std::string& text);

/// The value of an attribute of the first element below `text`'s root, empty if it is absent.
std::string attributeOf(const std::string& text, const char* name);
