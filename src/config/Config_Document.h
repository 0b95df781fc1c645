#pragma once

#include "xml/Xerces_Document.h"

#include <cstddef>
#include <cstdlib>
#include <stdexcept>
#include <string>

/// Reading and writing XML configuration files from tables, so that a refusal tells a person where in the
/// file what was expected.

/// Why a file is refused: one line, without the file's name.
class Config_Refusal : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Text from a file as it may stand in a message: quoted, on one line, not too long.
std::string Config_Quoted(const std::string& text);

/// The document, whose root must have that name.
Xerces_DocumentPtr Config_ParseDocument(const xercesc::InputSource& source, const char* rootName);
/// The refusal of a root whose "version" is none of those that are known.
Config_Refusal Config_UnknownVersion(const xercesc::DOMElement& root, const char* expected);
/// The only element of that name below another; none or several are refused.
xercesc::DOMElement& Config_OnlyElement(const xercesc::DOMElement& parent, const char* name);
/// As a new array for `serialize` to give away.
void Config_GiveDocument(const xercesc::DOMDocument& document, char*& buffer, unsigned& length);

/// One attribute of an element and the member of `T` behind it, either a text or a number.
template <class T>
struct Config_Attribute {
    const char* name;
    const char* expected; ///< what a person must write there; null if it may be left out
    std::string T::*text = nullptr;
    unsigned T::*number = nullptr;
    unsigned T::*follower = nullptr; ///< a number that takes the same value when the attribute is read
};

/// The attribute's text; empty if it is absent and may be.
std::string Config_ReadAttribute(const xercesc::DOMElement& element, const char* name, const char* expected);

/// Reads the attributes in the order of the table. One that is absent or empty keeps the member's value, or
/// is refused; those before it have been read then.
template <class T, std::size_t Count>
void Config_ReadAttributes(const xercesc::DOMElement& element, const Config_Attribute<T> (&table)[Count],
                           T& object) {
    for (const auto& attribute : table) {
        const std::string value = Config_ReadAttribute(element, attribute.name, attribute.expected);
        if (value.empty())
            continue;
        if (attribute.text != nullptr) {
            object.*attribute.text = value;
            continue;
        }
        object.*attribute.number = static_cast<unsigned>(std::strtol(value.c_str(), nullptr, 10));
        if (attribute.follower != nullptr)
            object.*attribute.follower = object.*attribute.number;
    }
}

/// Writes every attribute of the table, also what is empty or 0.
template <class T, std::size_t Count>
void Config_WriteAttributes(xercesc::DOMElement& element, const Config_Attribute<T> (&table)[Count],
                            const T& object) {
    for (const auto& attribute : table)
        Xerces_SetAttribute(element, attribute.name,
                            attribute.text != nullptr ? object.*attribute.text
                                                      : std::to_string(object.*attribute.number));
}
