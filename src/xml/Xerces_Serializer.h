#pragma once

#include "xml/Xerces_Types.h"

#include <string>

/// Writes a document (or one element and what is below it) as UTF-8, character for character as the library's
/// own writer does with its default settings, but several times faster and without recursion, so that the
/// depth of a document costs no stack. Text that XML cannot carry is replaced as Xerces_AppendUtf8 tells.
std::string Xerces_SerializeNode(const xercesc::DOMNode& node);
