#include "config/AgentConfig_GuidTargetHostPair.h"

XMLSerializable_Table<AgentConfig_GuidTargetHostPair> AgentConfig_GuidTargetHostPair::attributes() {
    static constexpr XMLSerializable_Attribute<AgentConfig_GuidTargetHostPair> table[] = {
        XMLSerializable_Text<&AgentConfig_GuidTargetHostPair::guid_>("value").always(),
        XMLSerializable_Text<&AgentConfig_GuidTargetHostPair::targetHost_>("hostTarget").always(),
    };
    return table;
}

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
    XMLSerializable_ReadAttributes(attributes(), *this, *element);
    return true;
}

bool AgentConfig_GuidTargetHostPair::serialize(xercesc::DOMDocument* document,
                                               xercesc::DOMElement* parent) const {
    if (document == nullptr || parent == nullptr)
        return false;
    if (!guid_.empty())
        XMLSerializable_WriteAttributes(attributes(), *this, Xerces_AppendElement(*parent, "Uuid"));
    return true;
}
