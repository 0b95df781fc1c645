#pragma once

#include "qdvctl/Ctl_AgentClient.h"

#include <cstdint>
#include <optional>
#include <string>

enum class Ctl_HitForm {
    Table, ///< for a person
    Json,  ///< a line for each
    Null,  ///< paths as they are, each with a zero behind
};

/// Asks an agent for the hits of a search page by page and writes them to standard output as they come, so
/// that memory stays flat however many there are.
class Ctl_SearchHits {
public:
    static constexpr std::uint64_t all = UINT64_MAX;

    /// The client is borrowed. At most `most` hits are written.
    Ctl_SearchHits(const Ctl_AgentClient& client, std::string token, Ctl_HitForm form, std::uint64_t most);

    /// Whether the search is done, as far as the volume tells: one that could not be searched has no hits to
    /// read.
    bool isReadable(const std::string& volume) const;
    /// Writes the hits of a volume from index `start` on. Returns the reply if the agent refuses them.
    std::optional<Ctl_Reply> show(const std::string& volume, std::uint64_t start);

    std::uint64_t count() const { return count_; }
    /// Whether there are more hits than were to be written.
    bool hasMore() const { return hasMore_; }

private:
    Ctl_Reply page(const std::string& volume, std::uint64_t start, std::uint64_t count) const;
    bool write(const Ctl_Node& hit);

    const Ctl_AgentClient& client_;
    const std::string token_;
    const Ctl_HitForm form_;
    const std::uint64_t most_;
    std::uint64_t count_ = 0;
    bool hasMore_ = false;
};
