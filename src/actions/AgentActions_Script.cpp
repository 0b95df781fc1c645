#include "actions/AgentActions_Script.h"

namespace {

struct Markers {
    std::string_view begin;
    std::string_view end;
};

constexpr Markers header{"# BEGIN_JOB_SCRIPT_HEADER", "# END_JOB_SCRIPT_HEADER"};
constexpr Markers object{"# BEGIN_OBJECT_SCRIPT", "# END_OBJECT_SCRIPT"};

/// The text between the next begin and the next end marker, both looked for from the start of `rest`, which
/// then goes on behind the end marker. An end marker that comes first leaves nothing between.
std::optional<std::string_view> takePiece(std::string_view& rest, const Markers& markers) {
    const std::size_t begin = rest.find(markers.begin);
    const std::size_t end = rest.find(markers.end);
    if (begin == std::string_view::npos || end == std::string_view::npos)
        return std::nullopt;
    const std::size_t text = begin + markers.begin.size();
    const std::string_view piece = end > text ? rest.substr(text, end - text) : std::string_view();
    rest.remove_prefix(end + markers.end.size());
    return piece;
}

} // namespace

std::optional<std::vector<std::string_view>> AgentActions_SegmentScript(std::string_view script) {
    std::vector<std::string_view> pieces;
    for (auto piece = takePiece(script, header); piece; piece = takePiece(script, object))
        pieces.push_back(*piece);
    if (pieces.empty())
        return std::nullopt;
    return pieces;
}
