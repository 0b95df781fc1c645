#pragma once

#include "xml/Xerces_Types.h"

#include <memory>

/// The library's own maker and writer of documents, for one thread, on the stack of who needs it. Exceptions
/// of the library pass through, except where an operation says otherwise.
class Xerces_XercesDOM {
public:
    Xerces_XercesDOM();
    /// Asks for an implementation with these features; null means "LS".
    explicit Xerces_XercesDOM(const char16_t* features);
    Xerces_XercesDOM(const Xerces_XercesDOM&) = delete;
    Xerces_XercesDOM& operator=(const Xerces_XercesDOM&) = delete;
    virtual ~Xerces_XercesDOM();

    /// Null on any failure. The caller owns the document and releases it with release().
    xercesc::DOMDocument* createDocument(const char16_t* namespaceURI, const char16_t* qualifiedName,
                                         xercesc::DOMDocumentType* doctype);
    /// False for a null target.
    bool serialize(xercesc::XMLFormatTarget* target, const xercesc::DOMNode& node);
    /// A new zero-terminated array that the caller releases with array delete; the length leaves the zero
    /// out.
    bool serialize(char*& buffer, unsigned int& length, const xercesc::DOMNode* node);
    void setEncodingSchema(const char16_t* encoding);

private:
    struct Releaser {
        void operator()(xercesc::DOMLSSerializer* writer) const;
        void operator()(xercesc::DOMLSOutput* output) const;
    };

    xercesc::DOMImplementation* implementation_;
    std::unique_ptr<xercesc::DOMLSSerializer, Releaser> writer_;
    std::unique_ptr<xercesc::DOMLSOutput, Releaser> output_;
};
