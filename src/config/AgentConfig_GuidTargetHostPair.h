#pragma once

#include "xml/XMLSerializable_Attributes.h"

#include <memory>
#include <string>

/// The identifier that the server gave this agent for one target host; the empty host stands for the agent
/// itself.
class AgentConfig_GuidTargetHostPair {
public:
    AgentConfig_GuidTargetHostPair() = default;
    AgentConfig_GuidTargetHostPair(const AgentConfig_GuidTargetHostPair&) = delete;
    AgentConfig_GuidTargetHostPair& operator=(const AgentConfig_GuidTargetHostPair&) = delete;
    virtual ~AgentConfig_GuidTargetHostPair() = default;

    virtual void copyInto(AgentConfig_GuidTargetHostPair& other) const;
    /// From a "Uuid" element. False for null.
    virtual bool parse(xercesc::DOMElement* element);
    /// Appends a "Uuid" element to `parent`, an element of `document`; none if there is no GUID. False for
    /// null.
    virtual bool serialize(xercesc::DOMDocument* document, xercesc::DOMElement* parent) const;

    const std::string& getGuid() const { return guid_; }
    /// Null clears.
    void setGuid(const char* guid) { guid_ = guid == nullptr ? "" : guid; }
    const std::string& getTargetHost() const { return targetHost_; }
    void setTargetHost(const char* host) { targetHost_ = host == nullptr ? "" : host; }

private:
    static XMLSerializable_Table<AgentConfig_GuidTargetHostPair> attributes();

    std::string guid_;
    std::string targetHost_;
};

/// Never null.
std::unique_ptr<AgentConfig_GuidTargetHostPair> AgentConfig_FactoryAllocateGuidTargetHostPair();
