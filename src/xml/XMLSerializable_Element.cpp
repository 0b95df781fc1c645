#include "xml/XMLSerializable_Element.h"

#include "xml/Xerces_XercesString.h"

#include <xercesc/dom/DOMDocument.hpp>
#include <xercesc/dom/DOMElement.hpp>

#include <stdexcept>

namespace {

xercesc::DOMElement* makeElement(xercesc::DOMDocument* document, const char* name) {
    if (document == nullptr)
        throw std::invalid_argument("no document to write into");
    return document->createElement(Xerces_XercesString(name).unicodeForm());
}

} // namespace

XMLSerializable_Element::XMLSerializable_Element(xercesc::DOMDocument* document, xercesc::DOMElement* given,
                                                 const char* name)
    : element_(given != nullptr ? given : makeElement(document, name)), unattached_(given == nullptr) {}

XMLSerializable_Element::~XMLSerializable_Element() {
    if (unattached_)
        XMLSerializable_Attempt([this] {
            element_->release();
            return true;
        });
}

void XMLSerializable_Element::appendTo(xercesc::DOMElement* parent) {
    if (parent == nullptr)
        throw std::invalid_argument("no parent to append to");
    parent->appendChild(element_);
    unattached_ = false;
}
