#pragma once

#include "config/AgentConfig_GuidTargetHostPair.h"
#include "config/Config_Configuration.h"

#include <memory>
#include <string>
#include <vector>

/// The content of uuid.conf: the identifiers that the server gave this agent, one for each target host and
/// one, under the empty host, for the agent itself. The agent never makes one up. Access from threads goes
/// under gMutexGuidConfig.
class AgentConfig_Guid : public Config_Configuration {
public:
    /// Appends what the file holds; after a failure there are no pairs at all. Version 1.0, with one
    /// identifier, is read as well as 1.1, which is written.
    bool parse(xercesc::InputSource& source) override;
    bool serialize(char*& buffer, unsigned& length) override;
    virtual void deallocateGuidTargetHostPairs();

    /// Empty if there is none for that host; another host's is never given.
    std::string getGuid(const std::string& targetHost) const;
    std::string getGuid() const { return getGuid(std::string()); }
    void setGuid(const std::string& guid, const std::string& targetHost);
    void setGuid(const std::string& guid) { setGuid(guid, std::string()); }
    std::size_t getNumberOfPairs() const { return pairs_.size(); }
    /// The length of all texts together, in bytes.
    std::size_t getTextLength() const;
    /// No identifier for the agent itself.
    void setDefaults() { setGuid(std::string()); }

private:
    using Pair = AgentConfig_GuidTargetHostPair;

    void read(const xercesc::InputSource& source);
    void readSingle(const xercesc::DOMElement& root);
    void readList(const xercesc::DOMElement& root);
    Pair* find(const std::string& targetHost) const;
    Pair& append();

    std::string defaultGuid_;
    std::vector<std::unique_ptr<Pair>> pairs_;
};
