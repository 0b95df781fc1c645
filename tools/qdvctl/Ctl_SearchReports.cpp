#include "qdvctl/Ctl_SearchReports.h"

#include <algorithm>
#include <utility>

namespace {

bool hasText(const Ctl_Node& node, std::string_view name, const std::string& text) {
    return node.name == name && node.ownText() == text;
}

} // namespace

// The agent's calls name a search by what stands before the first "_".
Ctl_SearchReports::Ctl_SearchReports(std::string token, std::size_t volumes)
    : token_(token.substr(0, token.find('_'))), volumes_(volumes) {}

void Ctl_SearchReports::take(const Ctl_Request& call) {
    const auto& nodes = call.parameters;
    const std::lock_guard lock(mutex_);
    if (call.method == "SearchProgress") {
        for (const Ctl_Node& node : nodes)
            if (const std::string* of = node.attribute("token"); of != nullptr && *of == token_)
                takeProgress(node);
    } else if (call.method == "SearchResultsSummary" &&
               std::any_of(nodes.begin(), nodes.end(),
                           [&](const Ctl_Node& node) { return hasText(node, "Token", token_); })) {
        summary_ = nodes;
        arrived_.notify_all();
    }
}

void Ctl_SearchReports::takeProgress(const Ctl_Node& progress) {
    isReported_ = true;
    heard_ = std::chrono::steady_clock::now();
    const std::uint64_t id = progress.number("nxId");
    if (id == 0 || id > volumes_.size())
        return;
    volumes_[id - 1] = {progress.number("filesProcessed"), progress.number("dirsProcessed"),
                        progress.word("progressStatus")};
}

std::optional<std::vector<Ctl_Node>> Ctl_SearchReports::waitForSummary(std::chrono::milliseconds time) {
    std::unique_lock lock(mutex_);
    arrived_.wait_for(lock, time, [&] { return summary_.has_value(); });
    return summary_;
}

Ctl_SearchProgress Ctl_SearchReports::progress() const {
    const std::lock_guard lock(mutex_);
    Ctl_SearchProgress all;
    for (const Volume& volume : volumes_) {
        all.files += volume.files;
        all.folders += volume.folders;
    }
    all.isReported = isReported_;
    all.heard = heard_;
    return all;
}

std::string Ctl_SearchReports::status(std::size_t volume) const {
    const std::lock_guard lock(mutex_);
    return volumes_.at(volume).status;
}
