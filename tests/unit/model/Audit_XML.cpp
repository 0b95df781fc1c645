#include "model/Audit_XML.h"

#include "xml/XMLSerializable_XMLSerializable.h"

#include <gtest/gtest.h>

std::string formOf(XMLSerializable_XMLSerializable& object) {
    const Xerces_DocumentPtr document = Xerces_CreateDocument("Root");
    if (!object.serialize(document.get(), Xerces_Root(*document), nullptr))
        return "";
    const std::string text = Xerces_Serialize(*document);
    return text.substr(text.find("<Root"));
}

bool parseInto(XMLSerializable_XMLSerializable& object, const std::string& text) {
    const Xerces_DocumentPtr document = Xerces_Parse(text, "test");
    EXPECT_NE(nullptr, document) << text;
    return document != nullptr && object.parse(Xerces_Root(*document));
}

std::string attributeOf(const std::string& text, const char* name) {
    const Xerces_DocumentPtr document = Xerces_Parse(text, "test");
    if (document == nullptr)
        return "no document: " + text;
    const xercesc::DOMElement* element = Xerces_FirstDescendant(*Xerces_Root(*document), "*");
    return element == nullptr ? "no element: " + text : Xerces_GetAttribute(*element, name);
}
