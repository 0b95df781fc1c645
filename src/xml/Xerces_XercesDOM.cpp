#include "xml/Xerces_XercesDOM.h"

#include "xml/Xerces_XercesString.h"

#include <xercesc/dom/DOMDocument.hpp>
#include <xercesc/dom/DOMImplementation.hpp>
#include <xercesc/dom/DOMImplementationLS.hpp>
#include <xercesc/dom/DOMImplementationRegistry.hpp>
#include <xercesc/dom/DOMLSOutput.hpp>
#include <xercesc/dom/DOMLSSerializer.hpp>
#include <xercesc/framework/MemBufFormatTarget.hpp>

#include <string_view>

namespace {

constexpr XMLSize_t initialSize = 1023;

} // namespace

void Xerces_XercesDOM::Releaser::operator()(xercesc::DOMLSSerializer* writer) const {
    writer->release();
}

void Xerces_XercesDOM::Releaser::operator()(xercesc::DOMLSOutput* output) const {
    output->release();
}

Xerces_XercesDOM::Xerces_XercesDOM() : Xerces_XercesDOM(nullptr) {}

Xerces_XercesDOM::Xerces_XercesDOM(const char16_t* features)
    : implementation_(
          xercesc::DOMImplementationRegistry::getDOMImplementation(features == nullptr ? u"LS" : features)) {
    if (implementation_ == nullptr)
        return;
    writer_.reset(implementation_->createLSSerializer());
    output_.reset(implementation_->createLSOutput());
}

Xerces_XercesDOM::~Xerces_XercesDOM() = default;

xercesc::DOMDocument* Xerces_XercesDOM::createDocument(const char16_t* namespaceURI,
                                                       const char16_t* qualifiedName,
                                                       xercesc::DOMDocumentType* doctype) {
    if (implementation_ == nullptr)
        return nullptr;
    try {
        return implementation_->createDocument(namespaceURI, qualifiedName, doctype);
    } catch (...) {
        return nullptr;
    }
}

bool Xerces_XercesDOM::serialize(xercesc::XMLFormatTarget* target, const xercesc::DOMNode& node) {
    if (target == nullptr || !writer_)
        return false;
    output_->setByteStream(target);
    return writer_->write(&node, output_.get());
}

bool Xerces_XercesDOM::serialize(char*& buffer, unsigned int& length, const xercesc::DOMNode* node) {
    xercesc::MemBufFormatTarget target(initialSize);
    if (!serialize(&target, *node))
        return false;
    length = static_cast<unsigned int>(target.getLen());
    buffer =
        nxNewText(std::string_view(reinterpret_cast<const char*>(target.getRawBuffer()), target.getLen()));
    return true;
}

void Xerces_XercesDOM::setEncodingSchema(const char16_t* encoding) {
    if (output_)
        output_->setEncoding(encoding);
}
