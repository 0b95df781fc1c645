#include "actions/AgentActions_Script.h"

namespace {

struct Markers {
    std::string_view begin;
    std::string_view end;
};

constexpr Markers header{"# BEGIN_JOB_SCRIPT_HEADER", "# END_JOB_SCRIPT_HEADER"};
constexpr Markers object{"# BEGIN_OBJECT_SCRIPT", "# END_OBJECT_SCRIPT"};

/// An end marker that comes before the begin marker leaves nothing between them.
std::string_view between(std::string_view script, std::size_t begin, std::size_t end,
                         const Markers& markers) {
    const std::size_t text = begin + markers.begin.size();
    return end > text ? script.substr(text, end - text) : std::string_view();
}

} // namespace

std::optional<std::vector<std::string_view>> AgentActions_SegmentScript(std::string_view script) {
    constexpr std::size_t none = std::string_view::npos;
    std::size_t begin = script.find(header.begin);
    std::size_t end = script.find(header.end);
    if (begin == none || end == none)
        return std::nullopt;
    std::vector<std::string_view> pieces{between(script, begin, end, header)};

    std::size_t position = end + header.end.size();
    begin = script.find(object.begin, position);
    end = script.find(object.end, position);
    while (begin != none && end != none) {
        pieces.push_back(between(script, begin, end, object));
        position = end + object.end.size();
        // A begin marker that is still ahead is not looked for again: many ends before it would each cost a
        // walk over the whole script.
        if (begin < position)
            begin = script.find(object.begin, position);
        end = script.find(object.end, position);
    }
    return pieces;
}
