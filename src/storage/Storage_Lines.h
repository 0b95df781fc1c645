#pragma once

#include <charconv>
#include <cstdint>
#include <limits>
#include <string_view>
#include <vector>

/// Walks the output of a tool line by line, each line cut into its words, without a copy of either.
///
///     for (Storage_Lines lines(text); lines.next();)
///         if (lines.size() > 2 && lines.is(0, "VG", "Name"))
///             use(lines[2]);
///
/// Empty lines are passed over; blanks and tabs separate words, any number of them. The text outlives the
/// walk.
class Storage_Lines {
public:
    explicit Storage_Lines(std::string_view text) : rest_(text) {}

    /// Goes to the next line. False behind the last one.
    bool next() {
        line_ = take(rest_, "\n");
        words_.clear();
        for (std::string_view line = line_; !line.empty();)
            if (const std::string_view word = take(line, " \t"); !word.empty())
                words_.push_back(word);
        return !line_.empty();
    }

    std::string_view line() const { return line_; }
    /// How many words the line has.
    std::size_t size() const { return words_.size(); }
    /// Empty behind the last word.
    std::string_view operator[](std::size_t index) const {
        return index < words_.size() ? words_[index] : std::string_view();
    }
    /// Whether the words from `index` on are these.
    template <typename... Words>
    bool is(std::size_t index, Words... words) const {
        return ((words_.size() > index && words_[index++] == words) && ...);
    }

private:
    /// The next piece between delimiters, which goes from the text.
    std::string_view take(std::string_view& text, std::string_view delimiters) {
        const std::size_t start = text.find_first_not_of(delimiters);
        if (start == std::string_view::npos) {
            text = {};
            return {};
        }
        text.remove_prefix(start);
        const std::string_view piece = text.substr(0, text.find_first_of(delimiters));
        text.remove_prefix(piece.size());
        return piece;
    }

    std::string_view rest_;
    std::string_view line_;
    std::vector<std::string_view> words_;
};

/// What the kernel and fdisk count as a block.
constexpr std::uint64_t Storage_BlockBytes = 1024;

/// The number with which a word begins, as strtoull(3) takes it: 0 if there is none, the largest if it is too
/// large.
inline std::uint64_t Storage_Number(std::string_view word) {
    std::uint64_t number = 0;
    const auto read = std::from_chars(word.data(), word.data() + word.size(), number);
    return read.ec == std::errc::result_out_of_range ? std::numeric_limits<std::uint64_t>::max() : number;
}
