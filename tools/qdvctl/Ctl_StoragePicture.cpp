#include "qdvctl/Ctl_StoragePicture.h"

#include "model/Storage_Tables.h"
#include "qdvctl/Ctl_StorageStack.h"
#include "qdvctl/Ctl_Text.h"

#include <algorithm>
#include <array>
#include <map>
#include <set>

namespace {

using Key = Ctl_StorageStack::Key;
using Object = Ctl_StorageStack::Object;

// Pixels.
constexpr int cellWidth = 190;
constexpr int cellHeight = 52;
constexpr int cellGap = 12;
constexpr int bandGap = 36;
constexpr int frameEdge = 14;
constexpr int frameGap = 16;
constexpr int cellEdge = 10;
constexpr int barHeight = 6;
constexpr std::size_t mostCells = 7;
constexpr std::size_t mostLettersShown = 22;
/// More lines than these between two levels hide what they are to show, as do lines past rows of boxes.
constexpr std::size_t mostLinks = 40;

constexpr const char* style = R"(<style>
.stack{--ink:#1d2329;--dim:#59636e;--page:#fff;--cell:#f6f8fa;--edge:#c4ccd4;--used:#0072b2;--rest:#dde3e9;--bad:#b34700}
@media (prefers-color-scheme:dark){.stack{--ink:#e6eaee;--dim:#9da7b1;--page:#14181c;--cell:#20262c;--edge:#454e57;--used:#56b4e9;--rest:#3a424a;--bad:#ff9e57}}
.stack text{font:12px system-ui,sans-serif;fill:var(--ink)}
.stack .dim{font-size:11px;fill:var(--dim)}
.stack .bad{font-size:11px;fill:var(--bad);font-weight:bold}
.stack .frame{fill:var(--page);stroke:var(--edge)}
.stack .cell{fill:var(--cell);stroke:var(--edge)}
.stack .failed{stroke:var(--bad);stroke-width:2;stroke-dasharray:5 3}
.stack .rest{fill:var(--rest)}.stack .used{fill:var(--used);stroke:var(--cell);stroke-width:.5}
.stack path{fill:none;stroke:var(--dim);stroke-opacity:.7}.stack .bundle{stroke-width:6;stroke-opacity:.35}
</style>
)";
constexpr const char* pageStyle = R"(<style>
:root{color-scheme:light dark}
body{font:15px/1.45 system-ui,sans-serif;margin:1.5rem;color:#1d2329;background:#fff}
.scroll{overflow-x:auto}table{border-collapse:collapse;margin:1rem 0}caption{text-align:left;font-weight:bold;padding:.4rem 0}
th,td{text-align:left;vertical-align:top;padding:.25rem .9rem .25rem 0;border-bottom:1px solid #c4ccd4;font-weight:normal}
thead th{font-weight:bold}.number{text-align:right;white-space:nowrap}tbody th,td:last-child{overflow-wrap:anywhere;min-width:9rem}
@media (prefers-color-scheme:dark){body{color:#e6eaee;background:#14181c}th,td{border-color:#454e57}}
</style>
)";

/// Text that is neither markup nor forbidden in XML, whatever it was.
std::string markupText(std::string_view bytes) {
    std::string text;
    const std::string printable = Ctl_Printable(bytes);
    for (std::size_t at = 0; at < printable.size(); ++at) {
        const char letter = printable[at];
        const std::string_view rest = std::string_view(printable).substr(at);
        if (rest.starts_with("\xEF\xBF\xBE") || rest.starts_with("\xEF\xBF\xBF")) {
            text += rest[2] == '\xBE' ? "\\ufffe" : "\\uffff";
            at += 2;
        } else if (letter == '&')
            text += "&amp;";
        else if (letter == '<')
            text += "&lt;";
        else if (letter == '>')
            text += "&gt;";
        else if (letter == '"')
            text += "&quot;";
        else if (letter == '\'')
            text += "&#39;";
        else
            text += letter;
    }
    return text;
}

/// The end of a long name, which tells it from its neighbours.
std::string shortName(const std::string& name) {
    const std::string printable = Ctl_Printable(name);
    if (Ctl_Width(printable) <= mostLettersShown)
        return printable;
    std::size_t at = printable.size();
    for (std::size_t letters = 3; letters < mostLettersShown && at > 0; ++letters)
        do
            --at;
        while (at > 0 && (static_cast<unsigned char>(printable[at]) & 0xC0U) == 0x80U);
    return "..." + printable.substr(at);
}

/// Indexes of levels, from the top.
constexpr std::size_t volumes = 0;
constexpr std::size_t partitions = 3;

/// What is used of a volume, or allocated of what lies below it.
const char* usedName(std::size_t level) {
    return level == volumes ? "usedBytes" : "allocatedBytes";
}

/// The attribute that is free: what is not used, as text.
std::string freeText(const Key& key, const Object& object) {
    const double total = object.bytes("totalBytes");
    const double used = object.bytes(usedName(key.first));
    return used > 0 && used <= total ? Ctl_SizeText(total - used) : std::string();
}

std::string joined(const std::vector<std::string>& parts, const char* between) {
    std::string text;
    for (const std::string& part : parts)
        if (!part.empty())
            text += (text.empty() ? "" : between) + part;
    return text;
}

std::string attributeText(const char* name, int value) {
    return std::string(" ") + name + "=\"" + std::to_string(value) + '"';
}

std::string rectangle(const char* kind, int x, int y, int width, int height, int round = 0) {
    return std::string("<rect class=\"") + kind + '"' + attributeText("x", x) + attributeText("y", y) +
           attributeText("width", width) + attributeText("height", height) +
           (round > 0 ? attributeText("rx", round) : "") + "/>";
}

std::string line(const char* kind, int x, int y, const std::string& text) {
    return "<text" + (*kind == '\0' ? "" : " class=\"" + std::string(kind) + '"') + attributeText("x", x) +
           attributeText("y", y) + '>' + markupText(text) + "</text>";
}

struct Place {
    int x = 0;
    int y = 0;
};

/// What hangs together, by level.
struct Frame {
    std::array<std::vector<Key>, Ctl_StorageStack::levelCount> bands;
    int columns = 1;
    int width = 0;
    int height = 0;
};

class Picture {
public:
    explicit Picture(const std::vector<Ctl_Node>& results) : stack_(results) {
        for (const Ctl_Node& items : results)
            if (items.name == "AuditFailedItems")
                for (const Ctl_Node& item : items.children) {
                    failures_.push_back(&item);
                    const Object form{&item, {}};
                    failed_.emplace(form.attribute("type"), form.attribute("name"));
                }
        findFrames();
    }

    std::string svg() {
        placeFrames();
        nameFailures();
        std::string text = "<svg xmlns=\"http://www.w3.org/2000/svg\" class=\"stack\" role=\"img\" "
                           "aria-labelledby=\"stack-title stack-desc\"" +
                           attributeText("width", width_) + attributeText("height", height_) +
                           " viewBox=\"0 0 " + std::to_string(width_) + ' ' + std::to_string(height_) +
                           "\">\n" +
                           "<title id=\"stack-title\">The storage stack</title>\n<desc id=\"stack-desc\">" +
                           summary() + "</desc>\n" + style;
        return text + body_ + "</svg>\n";
    }

    std::string summary() const {
        std::array<std::size_t, Ctl_StorageStack::levelCount> counts{};
        for (const auto& [key, object] : stack_.objects())
            counts.at(key.first) += stack_.isPlaceholder(key) ? 0 : 1;
        std::string text = "From the top:";
        for (std::size_t level = 0; level < counts.size(); ++level)
            text += std::string(level == 0 ? " " : ", ") + Ctl_StorageStack::word(level) + " \xC3\x97 " +
                    std::to_string(counts.at(level));
        return text + "; could not be audited: " + std::to_string(failures_.size()) + '.';
    }

    std::string tables() const {
        std::string text = head("Storage objects, from volumes down to drives",
                                {"Name", "Level", "Size", "Used", "Free", "Kind", "Mounted from", "Lies on"});
        for (const auto& [key, object] : stack_.objects()) {
            if (stack_.isPlaceholder(key))
                continue;
            std::vector<std::string> below;
            for (const Key& child : object.children)
                below.push_back(markupText(child.second));
            text += "<tr><th scope=\"row\">" + markupText(key.second) + "</th><td>" +
                    Ctl_StorageStack::word(key.first) + (isFailed(key) ? ", not audited" : "") + "</td>";
            for (const std::string& size :
                 {object.size("totalBytes"), object.size(usedName(key.first)), freeText(key, object)})
                text += "<td class=\"number\">" + size + "</td>";
            text += "<td>" + markupText(kind(object)) + "</td><td>" +
                    markupText(object.attribute("devicePath")) + "</td><td>" + joined(below, ", ") +
                    "</td></tr>\n";
        }
        text += "</tbody></table>\n";
        if (failures_.empty())
            return text;
        text += head("What could not be audited", {"Name", "Type"});
        for (const Ctl_Node* item : failures_) {
            const Object form{item, {}};
            text += "<tr><th scope=\"row\">" + markupText(form.attribute("name")) + "</th><td>" +
                    markupText(form.attribute("type")) + "</td></tr>\n";
        }
        return text + "</tbody></table>\n";
    }

private:
    static std::string head(const char* caption, const std::vector<const char*>& columns) {
        std::string text = std::string("<table><caption>") + caption + "</caption><thead><tr>";
        for (const char* column : columns)
            text += std::string("<th scope=\"col\">") + column + "</th>";
        return text + "</tr></thead><tbody>\n";
    }

    static std::string kind(const Object& object) {
        const std::string mechanism =
            object.attribute("virtualMechanism") == "Logical Volume Manager" ? "LVM" : "";
        return joined({object.composition(), mechanism, Ctl_Printable(object.attribute("fileSystem"))}, ", ");
    }

    bool isFailed(const Key& key) const {
        return failed_.contains({Storage_Type_Strings.at(Ctl_StorageStack::type(key.first)), key.second});
    }

    /// What is no object because it could not be audited has no box; the first of them are named.
    void nameFailures() {
        constexpr std::size_t most = 20;
        constexpr int lineHeight = 16;
        constexpr int letterWidth = 7;
        constexpr std::size_t mostLetters = 1000;
        for (std::size_t at = 0; at < failures_.size() && at <= most; ++at) {
            const Object form{failures_[at], {}};
            const std::string text =
                at == most ? "and " + std::to_string(failures_.size() - most) + " more"
                           : "! not audited: " + form.attribute("type") + ' ' + form.attribute("name");
            height_ += lineHeight;
            body_ += line("bad", 1, height_ - 4, text) + '\n';
            const std::size_t letters = std::min(Ctl_Width(Ctl_Printable(text)), mostLetters);
            width_ = std::max(width_, static_cast<int>(letters) * letterWidth);
        }
    }

    void findFrames() {
        std::map<Key, std::vector<Key>> neighbours;
        for (const auto& [key, object] : stack_.objects())
            if (!stack_.isPlaceholder(key))
                for (const Key& child : object.children) {
                    neighbours[key].push_back(child);
                    neighbours[child].push_back(key);
                }
        std::set<Key> seen;
        for (const auto& [start, object] : stack_.objects()) {
            if (stack_.isPlaceholder(start) || !seen.insert(start).second)
                continue;
            Frame& frame = frames_.emplace_back();
            std::vector<Key> open = {start};
            while (!open.empty()) {
                const Key key = std::move(open.back());
                open.pop_back();
                for (const Key& next : neighbours[key])
                    if (seen.insert(next).second)
                        open.push_back(next);
                frame.bands.at(key.first).push_back(key);
            }
            measure(frame);
        }
    }

    static int rowsOf(const std::vector<Key>& band, int columns) {
        return (static_cast<int>(band.size()) + columns - 1) / columns;
    }

    static void measure(Frame& frame) {
        std::size_t columns = 1;
        for (std::vector<Key>& band : frame.bands) {
            std::sort(band.begin(), band.end());
            columns = std::max(columns, std::min(mostCells, band.size()));
        }
        frame.columns = static_cast<int>(columns);
        frame.width = frame.columns * (cellWidth + cellGap) - cellGap + 2 * frameEdge;
        frame.height = 2 * frameEdge - bandGap;
        for (const std::vector<Key>& band : frame.bands)
            if (!band.empty())
                frame.height += rowsOf(band, frame.columns) * (cellHeight + cellGap) - cellGap + bandGap;
    }

    /// From left to right, then below; the drives of neighbours stand on one line.
    void placeFrames() {
        constexpr int most = static_cast<int>(mostCells) * (cellWidth + cellGap) - cellGap + 2 * frameEdge;
        std::size_t first = 0;
        int top = 1;
        while (first < frames_.size()) {
            int used = 0;
            int height = 0;
            std::size_t end = first;
            for (; end < frames_.size() && (end == first || used + frames_[end].width <= most); ++end) {
                used += frames_[end].width + frameGap;
                height = std::max(height, frames_[end].height);
            }
            int left = 1;
            for (; first < end; ++first) {
                draw(frames_[first], left, top + height - frames_[first].height);
                left += frames_[first].width + frameGap;
            }
            width_ = std::max(width_, left - frameGap + 1);
            top += height + frameGap;
        }
        height_ = std::max(top - frameGap + 1, 1);
    }

    void draw(const Frame& frame, int left, int top) {
        std::string cells;
        int y = top + frameEdge;
        std::map<Key, Place> places;
        std::array<int, Ctl_StorageStack::levelCount> ends{};
        for (std::size_t level = 0; level < frame.bands.size(); ++level) {
            const std::vector<Key>& band = frame.bands.at(level);
            if (band.empty())
                continue;
            const int inRow = std::min(frame.columns, static_cast<int>(band.size()));
            const int indent = (frame.columns - inRow) * (cellWidth + cellGap) / 2;
            for (std::size_t at = 0; at < band.size(); ++at) {
                const int column = static_cast<int>(at) % frame.columns;
                const int row = static_cast<int>(at) / frame.columns;
                const Place place{left + frameEdge + indent + column * (cellWidth + cellGap),
                                  y + row * (cellHeight + cellGap)};
                places[band[at]] = place;
                cells += cell(band[at], place);
            }
            y += rowsOf(band, frame.columns) * (cellHeight + cellGap) - cellGap;
            ends.at(level) = y;
            y += bandGap;
        }
        body_ += rectangle("frame", left, top, frame.width, frame.height, 6) + '\n' +
                 links(frame, places, ends, left) + cells;
    }

    std::string links(const Frame& frame, const std::map<Key, Place>& places,
                      const std::array<int, Ctl_StorageStack::levelCount>& ends, int left) const {
        std::map<std::pair<std::size_t, std::size_t>, std::vector<std::string>> lines;
        for (const std::vector<Key>& band : frame.bands)
            for (const Key& key : band)
                for (const Key& child : stack_.objects().at(key).children) {
                    const Place from = places.at(key);
                    const Place to = places.at(child);
                    const std::string x1 = std::to_string(from.x + cellWidth / 2);
                    const std::string x2 = std::to_string(to.x + cellWidth / 2);
                    const int y1 = from.y + cellHeight;
                    const std::string middle = std::to_string((y1 + to.y) / 2);
                    lines[{key.first, child.first}].push_back(
                        "<path d=\"M" + x1 + ' ' + std::to_string(y1) + 'C' + x1 + ' ' + middle + ' ' + x2 +
                        ' ' + middle + ' ' + x2 + ' ' + std::to_string(to.y) + "\"/>\n");
                }
        std::string text;
        for (const auto& [levels, some] : lines) {
            if (some.size() <= mostLinks && rowsOf(frame.bands.at(levels.first), frame.columns) < 3 &&
                rowsOf(frame.bands.at(levels.second), frame.columns) < 3) {
                text += joined(some, "");
                continue;
            }
            const int x = left + frame.width / 2;
            const int y = ends.at(levels.first);
            text += "<path class=\"bundle\" d=\"M" + std::to_string(x) + ' ' + std::to_string(y) + 'v' +
                    std::to_string(bandGap) + "\"/>" +
                    line("dim", x + cellEdge, y + bandGap / 2 + 4,
                         std::to_string(some.size()) + " links from " + Ctl_StorageStack::word(levels.first) +
                             " to " + Ctl_StorageStack::word(levels.second)) +
                    '\n';
        }
        return text;
    }

    std::string cell(const Key& key, Place place) const {
        const Object& object = stack_.objects().at(key);
        const bool failed = isFailed(key);
        const std::string left = freeText(key, object);
        const int x = place.x + cellEdge;
        std::string text =
            "<g><title>" +
            markupText(joined({Ctl_StorageStack::word(key.first), key.second, object.size("totalBytes"),
                               left.empty() ? left : left + " free", kind(object),
                               object.attribute("devicePath"), failed ? "not audited" : ""},
                              ", ")) +
            "</title>" +
            rectangle(failed ? "cell failed" : "cell", place.x, place.y, cellWidth, cellHeight, 4) +
            line("", x, place.y + 17, shortName(key.second)) +
            line(failed ? "bad" : "dim", x, place.y + 32,
                 failed ? "! not audited"
                        : joined({Ctl_StorageStack::word(key.first), object.size("totalBytes"),
                                  object.composition()},
                                 " "));
        return text + bar(key, object, x, place.y + cellHeight - cellEdge - 3) + "</g>\n";
    }

    /// How much is used; on a drive, where its extents lie. An empty bar would say that nothing is, so there
    /// is none where the audit does not tell, as of most arrays, groups and undivided drives.
    std::string bar(const Key& key, const Object& object, int x, int y) const {
        constexpr int width = cellWidth - 2 * cellEdge;
        const double total = object.bytes("totalBytes");
        const auto extents = extentsOf_.find(key);
        const double used = object.bytes(usedName(key.first));
        const bool isTold =
            key.first == volumes || key.first == partitions || used > 0 || extents != extentsOf_.end();
        if (total <= 0 || !isTold)
            return {};
        std::string text = rectangle("rest", x, y, width, barHeight);
        const auto part = [&](double from, double bytes) {
            const int start = static_cast<int>(std::clamp(from / total, 0.0, 1.0) * width);
            const int end = static_cast<int>(std::clamp((from + bytes) / total, 0.0, 1.0) * width);
            if (bytes > 0)
                text +=
                    rectangle("used", x + std::min(start, width - 1), y, std::max(end - start, 1), barHeight);
        };
        if (extents == extentsOf_.end())
            part(0, used);
        else
            for (const Object* extent : extents->second)
                part(extent->bytes("offsetBytes"), extent->bytes("totalBytes"));
        return text;
    }

    static std::map<Key, std::vector<const Object*>> extentsByDrive(const Ctl_StorageStack& stack) {
        constexpr std::size_t drives = Ctl_StorageStack::levelCount - 1;
        std::map<Key, std::vector<const Object*>> found;
        for (const auto& [key, object] : stack.objects())
            if (key.first + 1 == drives && !stack.isPlaceholder(key))
                for (const Key& child : object.children)
                    if (child.first == drives)
                        found[child].push_back(&object);
        return found;
    }

    Ctl_StorageStack stack_;
    std::map<Key, std::vector<const Object*>> extentsOf_ = extentsByDrive(stack_);
    std::vector<const Ctl_Node*> failures_;
    std::set<std::pair<std::string, std::string>> failed_; ///< type and name
    std::vector<Frame> frames_;
    std::string body_;
    int width_ = 1;
    int height_ = 1;
};

} // namespace

std::string Ctl_StorageSvg(const std::vector<Ctl_Node>& results) {
    return Picture(results).svg();
}

std::string Ctl_StorageHtml(const std::vector<Ctl_Node>& results) {
    Picture picture(results);
    return std::string("<!DOCTYPE html>\n<html lang=\"en\" "
                       "xmlns=\"http://www.w3.org/1999/xhtml\"><head><meta charset=\"utf-8\"/>") +
           "<meta name=\"viewport\" content=\"width=device-width, "
           "initial-scale=1\"/><title>Storage</title>\n" +
           pageStyle + "</head><body><main>\n<h1>Storage</h1>\n<p>" + picture.summary() +
           " The bar in a box is what is used of it; in a drive's, where its extents lie. Without a bar it "
           "is not known.</p>\n"
           "<h2>The stack</h2>\n<div class=\"scroll\" role=\"region\" aria-label=\"The stack as a picture\" "
           "tabindex=\"0\">\n" +
           picture.svg() +
           "</div>\n<h2>The same as tables</h2>\n<div class=\"scroll\" role=\"region\" aria-label=\"The "
           "stack as tables\" tabindex=\"0\">\n" +
           picture.tables() + "</div>\n</main></body></html>\n";
}
