#pragma once

#include "xml/Xerces_Types.h"

#include <utility>

/// The element that an object is being written into: one that the caller brought, or a new one that hangs
/// nowhere until appendTo. A new element that was not appended is given back to its document when this object
/// goes, so a form that could not be finished leaves no trace.
class XMLSerializable_Element {
public:
    /// Throws std::invalid_argument if there is neither an element nor a document to make one.
    XMLSerializable_Element(xercesc::DOMDocument* document, xercesc::DOMElement* given, const char* name);
    XMLSerializable_Element(const XMLSerializable_Element&) = delete;
    XMLSerializable_Element& operator=(const XMLSerializable_Element&) = delete;
    ~XMLSerializable_Element();

    xercesc::DOMElement* get() const { return element_; }
    xercesc::DOMElement& operator*() const { return *element_; }

    /// Makes it the last child of `parent`, wherever it hung before. Throws std::invalid_argument for null.
    void appendTo(xercesc::DOMElement* parent);

private:
    xercesc::DOMElement* element_;
    bool unattached_;
};

/// The result of `work`, or false if it throws, whatever it throws.
template <typename Work>
bool XMLSerializable_Attempt(Work&& work) noexcept {
    try {
        return std::forward<Work>(work)();
    } catch (...) {
        return false;
    }
}
