#pragma once

#include "xml/XMLSerializable_Attributes.h"
#include "xml/Xerces_Document.h"

#include <string>

/// The parts of an XML configuration file. What is not as it should be throws an XMLSerializable_Refusal,
/// which tells a person where in the file what was expected, without the file's name.

/// Text from a file as it may stand in a message: quoted, on one line, not too long.
std::string Config_Quoted(const std::string& text);

/// The document, whose root must have that name.
Xerces_DocumentPtr Config_ParseDocument(const xercesc::InputSource& source, const char* rootName);
/// The refusal of a root whose "version" is none of those that are known.
XMLSerializable_Refusal Config_UnknownVersion(const xercesc::DOMElement& root, const char* expected);
/// The only element of that name below another; none or several are refused.
xercesc::DOMElement& Config_OnlyElement(const xercesc::DOMElement& parent, const char* name);
/// As a new array for `serialize` to give away.
void Config_GiveDocument(const xercesc::DOMDocument& document, char*& buffer, unsigned& length);
