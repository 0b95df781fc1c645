#include "storage/Storage_JsonReader.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <optional>

namespace {

/// Far more than any tool nests.
constexpr int deepest = 64;
constexpr std::string_view whiteSpace = " \t\r\n";
/// Where the halves of a code point that takes two begin, 1024 each.
constexpr unsigned highSurrogates = 0xD800;
constexpr unsigned lowSurrogates = 0xDC00;

bool isIn(unsigned code, unsigned surrogates) {
    return code >= surrogates && code < surrogates + 0x400;
}

void appendUtf8(std::string& text, unsigned code) {
    if (code < 0x80) {
        text += static_cast<char>(code);
    } else if (code < 0x800) {
        text += static_cast<char>(0xC0 | code >> 6);
        text += static_cast<char>(0x80 | (code & 0x3F));
    } else if (code < 0x10000) {
        text += static_cast<char>(0xE0 | code >> 12);
        text += static_cast<char>(0x80 | (code >> 6 & 0x3F));
        text += static_cast<char>(0x80 | (code & 0x3F));
    } else {
        text += static_cast<char>(0xF0 | code >> 18);
        text += static_cast<char>(0x80 | (code >> 12 & 0x3F));
        text += static_cast<char>(0x80 | (code >> 6 & 0x3F));
        text += static_cast<char>(0x80 | (code & 0x3F));
    }
}

/// Reads one document from left to right. Every read gives false at the first fault, and the rest is lost.
class Reader {
public:
    Reader(std::string_view text, std::string_view arrayName) : rest_(text), arrayName_(arrayName) {}

    bool read() { return readValue("", nullptr, 0) && (skipWhite(), rest_.empty()); }
    std::vector<Storage_JsonRow> takeRows() { return std::move(rows_); }

private:
    void skipWhite() { rest_.remove_prefix(std::min(rest_.find_first_not_of(whiteSpace), rest_.size())); }

    bool take(char wanted) {
        skipWhite();
        if (!rest_.starts_with(wanted))
            return false;
        rest_.remove_prefix(1);
        return true;
    }

    /// A value that is a member `name`; a plain one goes into `row`.
    bool readValue(std::string_view name, Storage_JsonRow* row, int depth) {
        skipWhite();
        if (rest_.empty() || depth > deepest)
            return false;
        if (rest_.front() == '{')
            return readObject(nullptr, depth);
        if (rest_.front() == '[')
            return readArray(name, depth);
        std::string text;
        const bool isText = rest_.front() == '"';
        if (isText ? !readText(text) : !readWord(text))
            return false;
        if (row != nullptr && (isText || text != "null"))
            row->insert_or_assign(std::string(name), std::move(text));
        return true;
    }

    bool readArray(std::string_view name, int depth) {
        take('[');
        if (take(']'))
            return true;
        do {
            skipWhite();
            if (name == arrayName_ && rest_.starts_with('{')) {
                // Objects inside it come to stand behind it.
                const std::size_t place = rows_.size();
                rows_.emplace_back();
                Storage_JsonRow row;
                if (!readObject(&row, depth + 1))
                    return false;
                rows_[place] = std::move(row);
            } else if (!readValue("", nullptr, depth + 1)) {
                return false;
            }
        } while (take(','));
        return take(']');
    }

    bool readObject(Storage_JsonRow* row, int depth) {
        take('{');
        if (take('}'))
            return true;
        do {
            std::string name;
            skipWhite();
            if (!rest_.starts_with('"') || !readText(name) || !take(':') || !readValue(name, row, depth + 1))
                return false;
        } while (take(','));
        return take('}');
    }

    bool readText(std::string& text) {
        rest_.remove_prefix(1);
        while (!rest_.empty()) {
            const char next = rest_.front();
            rest_.remove_prefix(1);
            if (next == '"')
                return true;
            if (next != '\\')
                text += next;
            else if (!readEscape(text))
                return false;
        }
        return false;
    }

    bool readEscape(std::string& text) {
        constexpr std::string_view letters = "\"\\/bfnrt";
        constexpr std::string_view meant = "\"\\/\b\f\n\r\t";
        if (rest_.empty())
            return false;
        const char letter = rest_.front();
        rest_.remove_prefix(1);
        if (const std::size_t at = letters.find(letter); at != std::string_view::npos) {
            text += meant[at];
            return true;
        }
        // lvm leaves a backslash of the device mapper's as it is: "/dev/mapper/a\x20b".
        if (letter == 'x') {
            text += "\\x";
            return true;
        }
        unsigned code = 0;
        if (letter != 'u' || !readUnit(code) || isIn(code, lowSurrogates))
            return false;
        if (isIn(code, highSurrogates)) {
            unsigned low = 0;
            if (!rest_.starts_with("\\u"))
                return false;
            rest_.remove_prefix(2);
            if (!readUnit(low) || !isIn(low, lowSurrogates))
                return false;
            code = 0x10000 + ((code - highSurrogates) << 10) + (low - lowSurrogates);
        }
        appendUtf8(text, code);
        return true;
    }

    /// The four digits behind "\u".
    bool readUnit(unsigned& code) {
        constexpr std::size_t digits = 4;
        if (rest_.size() < digits ||
            std::from_chars(rest_.data(), rest_.data() + digits, code, 16).ptr != rest_.data() + digits)
            return false;
        rest_.remove_prefix(digits);
        return true;
    }

    /// A number, true, false or null.
    bool readWord(std::string& text) {
        const auto end = std::find_if_not(rest_.begin(), rest_.end(), [](unsigned char each) {
            return std::isalnum(each) != 0 || each == '-' || each == '+' || each == '.';
        });
        text.assign(rest_.begin(), end);
        rest_.remove_prefix(text.size());
        return !text.empty();
    }

    std::string_view rest_;
    std::string_view arrayName_;
    std::vector<Storage_JsonRow> rows_;
};

} // namespace

std::vector<Storage_JsonRow> Storage_ReadJsonRows(std::string_view text, std::string_view arrayName) {
    Reader reader(text, arrayName);
    return reader.read() ? reader.takeRows() : std::vector<Storage_JsonRow>();
}

std::string_view Storage_JsonText(const Storage_JsonRow& row, std::string_view name) {
    const auto found = row.find(name);
    return found != row.end() ? std::string_view(found->second) : std::string_view();
}
