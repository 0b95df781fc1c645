#include "config/AgentConfig_Guid.h"

#include "config/Config_Document.h"

#include <algorithm>
#include <utility>

namespace {

constexpr const char* IdentitiesRoot = "AgentUuidConfiguration";
constexpr const char* SingleVersion = "1.0";
constexpr const char* ListVersion = "1.1";

} // namespace

bool AgentConfig_Guid::parse(xercesc::InputSource& source) {
    const bool parsed = attempt([&] { read(source); });
    if (!parsed)
        deallocateGuidTargetHostPairs();
    return parsed;
}

void AgentConfig_Guid::read(const xercesc::InputSource& source) {
    const Xerces_DocumentPtr document = Config_ParseDocument(source, IdentitiesRoot);
    const xercesc::DOMElement& root = *Xerces_Root(*document);
    const std::string version = Xerces_GetAttribute(root, "version");
    if (version == SingleVersion)
        readSingle(root);
    else if (version == ListVersion)
        readList(root);
    else
        throw Config_UnknownVersion(root, "\"1.1\" or \"1.0\"");
}

void AgentConfig_Guid::readSingle(const xercesc::DOMElement& root) {
    if (const auto guid = Xerces_FirstText(Config_OnlyElement(root, "Uuid")))
        append().setGuid(guid->c_str());
}

void AgentConfig_Guid::readList(const xercesc::DOMElement& root) {
    for (xercesc::DOMElement* element : Xerces_ChildElements(Config_OnlyElement(root, "Uuids"), "Uuid"))
        append().parse(element);
}

bool AgentConfig_Guid::serialize(char*& buffer, unsigned& length) {
    buffer = nullptr;
    length = 0;
    return attempt([&] {
        const Xerces_DocumentPtr document = Xerces_CreateDocument(IdentitiesRoot);
        xercesc::DOMElement& root = *Xerces_Root(*document);
        Xerces_SetAttribute(root, "version", ListVersion);
        xercesc::DOMElement& list = Xerces_AppendElement(root, "Uuids");
        for (const auto& pair : pairs_)
            pair->serialize(document.get(), &list);
        Config_GiveDocument(*document, buffer, length);
    });
}

void AgentConfig_Guid::deallocateGuidTargetHostPairs() {
    pairs_.clear();
}

std::string AgentConfig_Guid::getGuid(const std::string& targetHost) const {
    const Pair* pair = find(targetHost);
    return pair == nullptr ? defaultGuid_ : pair->getGuid();
}

void AgentConfig_Guid::setGuid(const std::string& guid, const std::string& targetHost) {
    if (Pair* pair = find(targetHost)) {
        pair->setGuid(guid.c_str());
        return;
    }
    // Whole before it is in the list: one without its host would pass for the agent's own.
    auto made = AgentConfig_FactoryAllocateGuidTargetHostPair();
    made->setTargetHost(targetHost.c_str());
    made->setGuid(guid.c_str());
    pairs_.push_back(std::move(made));
}

std::size_t AgentConfig_Guid::getTextLength() const {
    std::size_t length = 0;
    for (const auto& pair : pairs_)
        length += pair->getGuid().size() + pair->getTargetHost().size();
    return length;
}

AgentConfig_Guid::Pair* AgentConfig_Guid::find(const std::string& targetHost) const {
    const auto found = std::find_if(pairs_.begin(), pairs_.end(),
                                    [&](const auto& pair) { return pair->getTargetHost() == targetHost; });
    return found == pairs_.end() ? nullptr : found->get();
}

AgentConfig_Guid::Pair& AgentConfig_Guid::append() {
    return *pairs_.emplace_back(AgentConfig_FactoryAllocateGuidTargetHostPair());
}
