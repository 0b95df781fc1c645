#pragma once

#include "xml/Xerces_Document.h"

#include <xercesc/parsers/XercesDOMParser.hpp>

#include <cstddef>
#include <string>
#include <unordered_set>

/// The reason for a refusal for want of memory, whether the limit of a document or the heap has ended.
constexpr const char* Xerces_OutOfMemory = "the document takes too much memory";

/// The parser for every text from outside. It refuses what would cost more than its size explains: a DOCTYPE,
/// which is the door to entity expansion and to external entities, depth, many different names, and more
/// memory than any honest document takes.
///
/// Can be used again after a document; after a failure it is thrown away. Used by one thread at a time.
class Xerces_Parser final : private xercesc::XercesDOMParser {
public:
    using XMemory::operator new;
    using XMemory::operator delete;

    Xerces_Parser();
    Xerces_Parser(const Xerces_Parser&) = delete;
    Xerces_Parser& operator=(const Xerces_Parser&) = delete;
    ~Xerces_Parser() override;

    /// Null on failure, and then `reason`, if given, tells why.
    Xerces_DocumentPtr run(const xercesc::InputSource& source, std::string* reason);

private:
    using Attributes = xercesc::RefVectorOf<xercesc::XMLAttr>;

    /// Comes before anything of the DOCTYPE is carried out.
    void doctypeDecl(const xercesc::DTDElementDecl& root, const XMLCh* publicId, const XMLCh* systemId,
                     bool hasInternalSubset, bool hasExternalSubset) override;
    void XMLDecl(const XMLCh* version, const XMLCh* encoding, const XMLCh* standalone,
                 const XMLCh* actualEncoding) override;
    void startElement(const xercesc::XMLElementDecl& declaration, unsigned int urlId, const XMLCh* prefix,
                      const Attributes& attributes, XMLSize_t attributeCount, bool isEmpty,
                      bool isRoot) override;
    void endElement(const xercesc::XMLElementDecl& declaration, unsigned int urlId, bool isRoot,
                    const XMLCh* prefix) override;

    void countName(const XMLCh* name);

    std::size_t depth_ = 0;
    std::size_t namesSeen_ = 0;
    std::unordered_set<std::u16string> names_;
};
