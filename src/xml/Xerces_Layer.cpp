#include "xml/Xerces_Layer.h"

#include "xml/Xerces_Memory.h"
#include "xml/Xerces_ParserPool.h"

#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/XMLException.hpp>
#include <xercesc/util/XMLUni.hpp>

#include <memory>
#include <stdexcept>

namespace {

Xerces_Memory memory;
std::unique_ptr<Xerces_ParserPool> parsers;

} // namespace

bool Xerces_LayerInit() {
    try {
        xercesc::XMLPlatformUtils::Initialize(xercesc::XMLUni::fgXercescDefaultLocale, nullptr, nullptr,
                                              &memory);
    } catch (const xercesc::XMLException&) {
        return false;
    }
    parsers = std::make_unique<Xerces_ParserPool>();
    return true;
}

void Xerces_LayerCleanup() {
    if (!parsers)
        return;
    parsers.reset();
    xercesc::XMLPlatformUtils::Terminate();
}

Xerces_ParserPool& Xerces_Parsers() {
    if (!parsers)
        throw std::logic_error("the XML layer is not up");
    return *parsers;
}
