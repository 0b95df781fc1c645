#pragma once

#include <xercesc/util/XercesDefs.hpp>

/// The types of the XML library that headers name. Only sources include the library's own headers.
XERCES_CPP_NAMESPACE_BEGIN
class DOMDocument;
class DOMDocumentType;
class DOMElement;
class DOMImplementation;
class DOMLSOutput;
class DOMLSSerializer;
class DOMNode;
class InputSource;
class MemBufInputSource;
class XMLFormatTarget;
XERCES_CPP_NAMESPACE_END
