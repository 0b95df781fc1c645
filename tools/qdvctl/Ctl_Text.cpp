#include "qdvctl/Ctl_Text.h"

#include "xml/Xerces_Text.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <iterator>
#include <utility>

namespace {

constexpr std::uint32_t mappedBytes = 0xEF00;

bool terminalUtf8 = true;

/// The start of a text: a character, or a byte that belongs to none.
struct Unit {
    std::uint32_t value;
    std::size_t length; ///< bytes
    bool isCharacter;
};

/// `text` is not empty.
Unit firstUnit(std::string_view text) {
    const Xerces_Utf8Character character = Xerces_ReadUtf8(text, 0);
    if (character.length == 0)
        return {static_cast<unsigned char>(text.front()), 1, false};
    return {character.codePoint, character.length, true};
}

bool isControl(std::uint32_t character) {
    return character < 0x20 || (character >= 0x7F && character <= 0x9F);
}

/// Characters that are not seen themselves but change how their neighbours are seen, or make two names look
/// alike: what Unicode lets a program leave out (Default_Ignorable_Code_Point), separators of lines and
/// paragraphs, and the marks of annotations. First and last of each range.
constexpr std::pair<std::uint32_t, std::uint32_t> deceptive[] = {
    {0x00AD, 0x00AD},   {0x034F, 0x034F},  {0x061C, 0x061C}, {0x115F, 0x1160}, {0x17B4, 0x17B5},
    {0x180B, 0x180F},   {0x200B, 0x200F},  {0x2028, 0x202E}, {0x2060, 0x206F}, {0x3164, 0x3164},
    {0xFE00, 0xFE0F},   {0xFEFF, 0xFEFF},  {0xFFA0, 0xFFA0}, {0xFFF0, 0xFFFB}, {0x1BCA0, 0x1BCA3},
    {0x1D173, 0x1D17A}, {0xE0000, 0xE0FFF}};

bool isDeceptive(std::uint32_t character) {
    return character >= deceptive[0].first &&
           std::any_of(std::begin(deceptive), std::end(deceptive), [&](const auto& range) {
               return character >= range.first && character <= range.second;
           });
}

bool isControlElsewhere(char byte) {
    return (static_cast<unsigned char>(byte) & 0xE0) == 0x80;
}

/// Whether a character must be spelled out although it is no control.
bool isToBeSpelled(const Unit& unit, std::string_view bytes) {
    return isDeceptive(unit.value) ||
           (!terminalUtf8 && std::any_of(bytes.begin(), bytes.end(), isControlElsewhere));
}

void appendHex(std::string& out, const char* introducer, std::uint32_t value, int digits) {
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "%0*x", digits, value);
    out.append(introducer).append(text.data());
}

void appendPrintable(std::string& out, const Unit& unit, std::string_view bytes) {
    if (!unit.isCharacter || isControl(unit.value))
        appendHex(out, "\\x", unit.value, 2);
    else if (isToBeSpelled(unit, bytes))
        appendHex(out, unit.value < 0x10000 ? "\\u" : "\\U", unit.value, unit.value < 0x10000 ? 4 : 8);
    else
        out.append(bytes);
}

void appendJsonEscape(std::string& out, std::uint32_t value) {
    if (value < 0x10000) {
        appendHex(out, "\\u", value, 4);
        return;
    }
    const std::uint32_t rest = value - 0x10000;
    appendHex(out, "\\u", 0xD800 + (rest >> 10), 4);
    appendHex(out, "\\u", 0xDC00 + (rest & 0x3FF), 4);
}

void appendJson(std::string& out, const Unit& unit, std::string_view bytes) {
    if (!unit.isCharacter)
        appendJsonEscape(out, mappedBytes + unit.value);
    else if (unit.value == '"' || unit.value == '\\')
        out.append("\\").append(bytes);
    else if (unit.value == '\n')
        out.append("\\n");
    else if (isControl(unit.value) || isToBeSpelled(unit, bytes))
        appendJsonEscape(out, unit.value);
    else
        out.append(bytes);
}

template <typename Append>
std::string transformed(std::string_view text, Append append) {
    std::string out;
    out.reserve(text.size());
    while (!text.empty()) {
        const Unit unit = firstUnit(text);
        append(out, unit, text.substr(0, unit.length));
        text.remove_prefix(unit.length);
    }
    return out;
}

} // namespace

void Ctl_SetTerminalUtf8(bool understood) {
    terminalUtf8 = understood;
}

std::string Ctl_Printable(std::string_view text) {
    return transformed(text, appendPrintable);
}

std::string Ctl_PrintableLines(std::string_view text) {
    return transformed(text, [](std::string& out, const Unit& unit, std::string_view bytes) {
        if (bytes == "\n" || bytes == "\t")
            out.append(bytes);
        else
            appendPrintable(out, unit, bytes);
    });
}

void Ctl_Say(std::string_view text) {
    std::fprintf(stderr, "qdvctl: %s\n", Ctl_Printable(text).c_str());
}

std::size_t Ctl_Width(std::string_view printable) {
    return static_cast<std::size_t>(std::count_if(printable.begin(), printable.end(), [](char byte) {
        return (static_cast<unsigned char>(byte) & 0xC0) != 0x80;
    }));
}

std::string Ctl_SizeText(double bytes) {
    constexpr std::array<const char*, 7> units = {"B", "KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
    constexpr double step = 1024;
    std::size_t unit = 0;
    for (; bytes >= step && unit + 1 < units.size(); ++unit)
        bytes /= step;
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.*f %s", unit == 0 ? 0 : 1, bytes, units.at(unit));
    return text.data();
}

std::string Ctl_JsonString(std::string_view text) {
    return '"' + transformed(text, appendJson) + '"';
}
