#pragma once

#include "xml/Xerces_Types.h"

#include <string>
#include <string_view>

/// Writes a document (or one element and what is below it) as UTF-8, character for character as the library's
/// own writer does with its default settings, but several times faster and without recursion, so that the
/// depth of a document costs no stack. Text that XML cannot carry is replaced as Xerces_AppendUtf8 tells.
std::string Xerces_SerializeNode(const xercesc::DOMNode& node);

/// Appends one attribute of a start tag as the function above would write it: ` name="value"`. `value` is
/// text of bytes.
void Xerces_AppendAttribute(std::string& out, std::string_view name, std::string_view value);
