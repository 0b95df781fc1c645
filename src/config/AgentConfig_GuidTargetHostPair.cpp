#include "config/AgentConfig_GuidTargetHostPair.h"

#include "config/Config_Document.h"

struct AgentConfig_GuidTargetHostPair::Format {
    using Pair = AgentConfig_GuidTargetHostPair;

    static constexpr Config_Attribute<Pair> Attributes[] = {
        {.name = "value", .expected = nullptr, .text = &Pair::guid_},
        {.name = "hostTarget", .expected = nullptr, .text = &Pair::targetHost_},
    };
};

std::unique_ptr<AgentConfig_GuidTargetHostPair> AgentConfig_FactoryAllocateGuidTargetHostPair() {
    return std::make_unique<AgentConfig_GuidTargetHostPair>();
}

void AgentConfig_GuidTargetHostPair::copyInto(AgentConfig_GuidTargetHostPair& other) const {
    other.guid_ = guid_;
    other.targetHost_ = targetHost_;
}

bool AgentConfig_GuidTargetHostPair::parse(xercesc::DOMElement* element) {
    if (element == nullptr)
        return false;
    Config_ReadAttributes(*element, Format::Attributes, *this);
    return true;
}

bool AgentConfig_GuidTargetHostPair::serialize(xercesc::DOMDocument* document,
                                               xercesc::DOMElement* parent) const {
    if (document == nullptr || parent == nullptr)
        return false;
    if (!guid_.empty())
        Config_WriteAttributes(Xerces_AppendElement(*parent, "Uuid"), Format::Attributes, *this);
    return true;
}
