#include "qdvctl/Ctl_SearchHits.h"

#include "qdvctl/Ctl_FileTables.h"
#include "qdvctl/Ctl_Render.h"

#include <algorithm>
#include <cstdio>
#include <utility>

namespace {

constexpr std::uint64_t hitsPerPage = 1000;

std::string textOfHit(const Ctl_Node& hit, Ctl_HitForm form) {
    if (form == Ctl_HitForm::Table)
        return Ctl_ListHit(hit);
    if (form == Ctl_HitForm::Json)
        return Ctl_RenderJson(hit) + "\n";
    const std::string* path = hit.attribute("path");
    return path == nullptr ? std::string() : *path + '\0';
}

std::vector<Ctl_Node> hitsOf(Ctl_Node& response) {
    std::vector<Ctl_Node> hits;
    for (Ctl_Node& results : response.children)
        if (results.name == "SearchResults")
            hits = std::move(results.children);
    std::erase_if(hits, [](const Ctl_Node& node) { return node.isText(); });
    return hits;
}

} // namespace

Ctl_SearchHits::Ctl_SearchHits(const Ctl_AgentClient& client, std::string token, Ctl_HitForm form,
                               std::uint64_t most)
    : client_(client), token_(std::move(token)), form_(form), most_(most) {}

bool Ctl_SearchHits::isReadable(const std::string& volume) const {
    return page(volume, 0, 0).isSuccess();
}

std::optional<Ctl_Reply> Ctl_SearchHits::show(const std::string& volume, std::uint64_t start) {
    for (;;) {
        // One hit more than is to be written tells whether there are more.
        const std::uint64_t wanted = std::min(most_ - count_, hitsPerPage - 1) + 1;
        Ctl_Reply reply = page(volume, start, wanted);
        if (!reply.isSuccess())
            return reply;
        const std::vector<Ctl_Node> hits = hitsOf(reply.response);
        for (const Ctl_Node& hit : hits)
            if (!write(hit))
                return std::nullopt;
        if (hits.size() < wanted)
            return std::nullopt;
        start += hits.size();
    }
}

/// False if no more are to be written, or nothing can be.
bool Ctl_SearchHits::write(const Ctl_Node& hit) {
    hasMore_ = count_ >= most_;
    if (hasMore_)
        return false;
    if (count_++ == 0 && form_ == Ctl_HitForm::Table)
        std::fputs(Ctl_HitHeading().c_str(), stdout);
    const std::string text = textOfHit(hit, form_);
    return std::fwrite(text.data(), 1, text.size(), stdout) == text.size();
}

Ctl_Reply Ctl_SearchHits::page(const std::string& volume, std::uint64_t start, std::uint64_t count) const {
    return client_.call(Ctl_RequestFor("GetFSOSearchResults",
                                       {Ctl_TextElement("Token", token_), Ctl_TextElement("Volume", volume),
                                        Ctl_TextElement("StartIndex", std::to_string(start)),
                                        Ctl_TextElement("NumResults", std::to_string(count))}));
}
