#include "qdvctl/Ctl_SearchExpression.h"

#include "files/System_FileSystemObject.h"
#include "predicates/Predicate_PredicateFactory.h"
#include "qdvctl/Ctl_Failure.h"
#include "qdvctl/Ctl_Node.h"
#include "qdvctl/Ctl_Text.h"
#include "xml/Xerces_Serializer.h"
#include "xml/Xerces_Text.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <chrono>
#include <cstdint>
#include <iterator>
#include <limits>
#include <numeric>
#include <optional>
#include <strings.h>
#include <utility>

// The grammar. A chain of one member is that member, and "not" is carried down to the comparisons, since the
// agent has it for these alone.
//
//     any         all { ("or" | "||") all }
//     all         term { ("and" | "&&") term }
//     term        { "not" | "!" } ( "(" any ")" | comparison )
//     comparison  VALUE | VALUE SIGN operand | VALUE "between" operand "and" operand

namespace {

/// Parentheses within each other. Each pair takes stack here and, as a level of the document, in the agent.
constexpr int mostNested = 200;

constexpr std::string_view blanks = " \t\n\r\f\v";
/// Blanks and what else ends a word.
constexpr std::string_view wordEnds = " \t\n\r\f\v()'\"=!<>&|";
/// The longer one first where one begins like another.
constexpr std::string_view signs[] = {"&&", "||", "==", "!=", "<=", ">=", "=", "!", "<", ">", "(", ")"};

constexpr std::pair<std::string_view, const char*> shortNames[] = {
    {"dir", "isdir"},         {"ext", "extension"}, {"parent", "parentDirPath"}, {"modified", "modifyDT"},
    {"accessed", "accessDT"}, {"owner", "userId"},  {"group", "groupId"},
};

struct SearchSign {
    std::string_view text;
    Predicate_Predicate::Operator op;
    bool isNegative = false;
};

constexpr SearchSign comparisonSigns[] = {
    {"=", Predicate_Predicate::Equal},
    {"==", Predicate_Predicate::Equal},
    {"!=", Predicate_Predicate::Equal, true},
    {"<", Predicate_Predicate::LessThan},
    {"<=", Predicate_Predicate::LessThanOrEqualTo},
    {">", Predicate_Predicate::GreaterThan},
    {">=", Predicate_Predicate::GreaterThanOrEqualTo},
    {"between", Predicate_Predicate::Between},
    {"beginsWith", Predicate_Predicate::BeginsWith},
    {"endsWith", Predicate_Predicate::EndsWith},
    {"contains", Predicate_Predicate::Contains},
};

struct SearchToken {
    enum Kind { Word, Quoted, Sign, End };

    Kind kind = End;
    std::string text;   ///< of a quoted one what the quotation stands for
    std::size_t at = 0; ///< byte of the expression

    /// A word in any case, or a sign.
    bool is(std::string_view wanted) const {
        return (kind == Word || kind == Sign) && text.size() == wanted.size() &&
               strncasecmp(text.data(), wanted.data(), wanted.size()) == 0;
    }
    bool isAnd() const { return is("and") || is("&&"); }
    bool isOr() const { return is("or") || is("||"); }
    bool isNot() const { return is("not") || is("!"); }
    bool isReserved() const { return kind == Word && (isAnd() || isOr() || isNot()); }
};

/// The texts of the first and the last value that an operand stands for: a day is all its seconds.
struct SearchOperand {
    std::string first;
    std::string last;
    bool isLiteral = true; ///< not the name of another value
};

std::string inQuotes(std::string_view text) {
    return '"' + std::string(text) + '"';
}

bool isShaped(std::string_view text, std::string_view shape) {
    return std::equal(text.begin(), text.end(), shape.begin(), shape.end(), [](char each, char expected) {
        return expected == '0' ? each >= '0' && each <= '9' : each == expected;
    });
}

bool isTimeOfDay(std::string_view text) {
    return isShaped(text, "00:00") || isShaped(text, "00:00:00");
}

unsigned numberIn(std::string_view digits) {
    unsigned number = 0;
    std::from_chars(digits.data(), digits.data() + digits.size(), number);
    return number;
}

std::optional<SearchOperand> readDate(std::string_view text) {
    const std::string day(text.substr(0, std::min<std::size_t>(text.size(), 10)));
    if (!isShaped(day, "0000-00-00"))
        return std::nullopt;
    const std::chrono::year_month_day date(std::chrono::year(static_cast<int>(numberIn(day.substr(0, 4)))),
                                           std::chrono::month(numberIn(day.substr(5, 2))),
                                           std::chrono::day(numberIn(day.substr(8, 2))));
    if (!date.ok())
        return std::nullopt;
    text.remove_prefix(day.size());
    if (text.empty())
        return SearchOperand{day + " 00:00:00", day + " 23:59:59"};
    const std::string time(text.substr(1));
    if ((text.front() != ' ' && text.front() != 'T') || !isTimeOfDay(time) ||
        numberIn(time.substr(0, 2)) > 23 || numberIn(time.substr(3, 2)) > 59)
        return std::nullopt;
    const std::string until = day + ' ' + time;
    if (time.size() == 5)
        return SearchOperand{until + ":00", until + ":59"};
    if (numberIn(time.substr(6)) > 59)
        return std::nullopt;
    return SearchOperand{until, until};
}

/// The bytes of "K", "KB" or "KiB" and so on, in any case; nothing if it is no unit.
std::optional<std::uint64_t> unitOf(std::string_view text) {
    constexpr std::string_view letters = "kmgtp";
    if (text.empty())
        return std::nullopt;
    const auto isOf = [&](std::string_view rest) {
        return text.size() == rest.size() && strncasecmp(text.data(), rest.data(), rest.size()) == 0;
    };
    if (isOf("b"))
        return 1;
    const std::size_t power =
        letters.find(static_cast<char>(std::tolower(static_cast<unsigned char>(text[0]))));
    text.remove_prefix(1);
    if (power == std::string_view::npos || !(text.empty() || isOf("b") || isOf("ib")))
        return std::nullopt;
    return std::uint64_t{1} << (10 * (power + 1));
}

std::optional<std::uint64_t> readNumber(std::string_view text, bool isSize) {
    const char* const end = text.data() + text.size();
    std::uint64_t whole = 0;
    const auto [stop, error] = std::from_chars(text.data(), end, whole);
    if (error != std::errc())
        return std::nullopt;
    std::string_view rest(stop, static_cast<std::size_t>(end - stop));
    if (rest.empty())
        return whole;
    std::string_view fraction;
    if (rest.front() == '.') {
        const std::size_t length = std::min(rest.find_first_not_of("0123456789", 1), rest.size());
        fraction = rest.substr(1, length - 1);
        rest.remove_prefix(length);
        if (fraction.empty())
            return std::nullopt;
    }
    const std::optional<std::uint64_t> unit = unitOf(rest);
    if (!isSize || !unit || (!fraction.empty() && *unit == 1))
        return std::nullopt;
    // From the last digit on, each time less what a tenth leaves over: exact, rounded down.
    const auto part = std::accumulate(
        fraction.rbegin(), fraction.rend(), std::uint64_t{0}, [&](std::uint64_t behind, char digit) {
            return (static_cast<std::uint64_t>(digit - '0') * *unit + behind) / 10;
        });
    if (whole > (std::numeric_limits<std::uint64_t>::max() - part) / *unit)
        return std::nullopt;
    return whole * *unit + part;
}

bool isSize(const System_FSOAttribute& value) {
    return std::string_view(value.name).starts_with("size");
}

/// Whether the agent knows the value of a directory only when it has been through everything below.
bool isOfTree(const System_FSOAttribute& value) {
    const std::string_view name = value.name;
    return name.starts_with("num") || name.ends_with("Recursive");
}

std::string describeType(std::string_view type) {
    return type == "string"    ? "text"
           : type == "boolean" ? "true or false"
           : type == "date"    ? "a date"
                               : "a number";
}

std::string listValues() {
    std::string list;
    for (const auto& [name, meant] : shortNames)
        list.append(list.empty() ? "" : ", ").append(name);
    for (const System_FSOAttribute& value : System_FileSystemObject::attributes())
        if (value.type != nullptr && !isOfTree(value))
            list.append(", ").append(value.name);
    return list + ", and the counts of directories that qdvctl(1) names";
}

bool fits(Predicate_Predicate::Operator op, const System_FSOAttribute& value) {
    return Predicate_PredicateFactory().createPredicate(value.type)->isOperatorSupported(op);
}

std::string listSigns(const System_FSOAttribute& value) {
    std::string list;
    for (const SearchSign& sign : comparisonSigns)
        if (sign.text != "==" && fits(sign.op, value))
            list.append(list.empty() ? "" : " ").append(sign.text);
    return list;
}

void appendElement(std::string& out, const Ctl_Node& node) {
    out.append("<").append(node.name);
    for (const auto& [name, value] : node.attributes)
        Xerces_AppendAttribute(out, name, value);
    if (node.children.empty()) {
        out += "/>";
        return;
    }
    out += '>';
    for (const Ctl_Node& child : node.children)
        appendElement(out, child);
    out.append("</").append(node.name).append(">");
}

class SearchParser {
public:
    explicit SearchParser(std::string_view expression) : text_(expression) {
        if (const std::size_t zero = text_.find('\0'); zero != std::string_view::npos)
            fail(zero, "there is a zero byte, which no text on a host has");
        advance();
    }

    /// An element Condition.
    Ctl_Node parse() {
        Ctl_Node condition = any(false);
        if (token_.is(")"))
            fail(token_.at, "there is no \"(\" for this \")\"");
        if (token_.kind != SearchToken::End)
            failExpecting("\"and\" or \"or\"");
        if (ofTree_ && !testsForDirectories_)
            fail(ofTree_->at,
                 inQuotes(ofTree_->text) + " is counted only for directories: \"dir and ...\" is needed");
        return condition.name == "Condition" ? condition : chain("and", {std::move(condition)});
    }

private:
    [[noreturn]] void fail(std::size_t at, const std::string& why) const {
        std::string line(text_);
        std::replace_if(
            line.begin(), line.end(), [](char each) { return blanks.find(each) != std::string_view::npos; },
            ' ');
        const std::size_t width = Ctl_Width(Ctl_Printable(std::string_view(line).substr(0, at)));
        throw Ctl_Failure(Ctl_WrongUsage, "column " + std::to_string(columnOf(at)) + ": " + why,
                          Ctl_Printable(line) + '\n' + std::string(width, ' ') + '^');
    }

    [[noreturn]] void failExpecting(const std::string& what) const {
        if (token_.kind == SearchToken::End)
            fail(token_.at, what + " is expected, and the expression ends");
        fail(token_.at, what + " is expected instead of " + inQuotes(token_.text));
    }

    /// In characters, from 1.
    std::size_t columnOf(std::size_t at) const {
        std::size_t column = 1;
        for (std::size_t i = 0; i < at; ++column)
            i += std::max<std::size_t>(Xerces_ReadUtf8(text_, i).length, 1);
        return column;
    }

    void advance() {
        at_ = std::min(text_.find_first_not_of(blanks, at_), text_.size());
        token_ = {SearchToken::End, {}, at_};
        if (at_ == text_.size())
            return;
        if (text_[at_] == '"' || text_[at_] == '\'') {
            token_.text = quotation();
            token_.kind = SearchToken::Quoted;
        } else if (wordEnds.find(text_[at_]) != std::string_view::npos) {
            token_.text = sign();
            token_.kind = SearchToken::Sign;
            at_ += token_.text.size();
        } else {
            token_.text = text_.substr(at_, text_.find_first_of(wordEnds, at_) - at_);
            token_.kind = SearchToken::Word;
            at_ += token_.text.size();
        }
    }

    std::string_view sign() const {
        const auto* const found =
            std::find_if(std::begin(signs), std::end(signs),
                         [this](std::string_view each) { return text_.substr(at_).starts_with(each); });
        if (found == std::end(signs))
            fail(at_, "\"&&\" and \"||\" are operators; text that holds & or | needs quotes");
        return *found;
    }

    std::string quotation() {
        const std::size_t start = at_;
        const char quote = text_[at_++];
        std::string out;
        while (at_ < text_.size()) {
            const char each = text_[at_];
            if (each == '\\' && quote == '"') {
                out += escaped();
                continue;
            }
            ++at_;
            if (each == quote)
                return out;
            out += each;
        }
        fail(start, "this quotation does not end");
    }

    char escaped() {
        const std::string_view rest = text_.substr(at_);
        if (rest.starts_with("\\\\") || rest.starts_with("\\\"")) {
            at_ += 2;
            return rest[1];
        }
        unsigned char byte = 0;
        const std::string_view digits = rest.starts_with("\\x") ? rest.substr(2, 2) : std::string_view();
        const auto [stop, error] = std::from_chars(digits.data(), digits.data() + digits.size(), byte, 16);
        if (digits.size() != 2 || stop != digits.data() + 2 || byte == 0)
            fail(at_,
                 R"(within "..." a backslash begins \\, \" or \x and two hexadecimal digits, but not \x00)");
        at_ += 4;
        return static_cast<char>(byte);
    }

    SearchToken take() {
        SearchToken taken = token_;
        advance();
        return taken;
    }

    static Ctl_Node chain(const char* op, std::vector<Ctl_Node> members) {
        return {"Condition", {}, {{"logicalOperator", op}}, std::move(members)};
    }

    /// `negated` turns "or" into "and" and the other way, as the members are negated too.
    template <typename Member>
    Ctl_Node joined(bool byOr, bool negated, Member member) {
        Ctl_Node whole = chain(byOr != negated ? "or" : "and", {});
        for (;;) {
            Ctl_Node next = member();
            if (next.attributes == whole.attributes)
                std::move(next.children.begin(), next.children.end(), std::back_inserter(whole.children));
            else
                whole.children.push_back(std::move(next));
            if (byOr ? !token_.isOr() : !token_.isAnd())
                break;
            advance();
        }
        if (whole.children.size() > 1)
            return whole;
        Ctl_Node only = std::move(whole.children.front());
        return only;
    }

    Ctl_Node any(bool negated) {
        return joined(true, negated, [&] { return joined(false, negated, [&] { return term(negated); }); });
    }

    Ctl_Node term(bool negated) {
        for (; token_.isNot(); advance())
            negated = !negated;
        if (!token_.is("("))
            return comparison(negated);
        const std::size_t open = take().at;
        if (++nested_ > mostNested)
            fail(open, "more than " + std::to_string(mostNested) + " parentheses within each other");
        Ctl_Node inner = any(negated);
        if (token_.kind == SearchToken::End)
            fail(open, "there is no \")\" for this \"(\"");
        if (!token_.is(")"))
            failExpecting("\"and\", \"or\" or \")\"");
        advance();
        --nested_;
        return inner;
    }

    Ctl_Node comparison(bool negated) {
        if (token_.kind != SearchToken::Word || token_.isReserved())
            failExpecting("the name of a value, such as name or size,");
        const System_FSOAttribute* const value = findValue();
        if (value == nullptr)
            fail(token_.at, "there is no value " + inQuotes(token_.text) + "; there are " + listValues());
        const SearchToken name = take();
        const auto* const sign =
            std::find_if(std::begin(comparisonSigns), std::end(comparisonSigns),
                         [this](const SearchSign& each) { return token_.is(each.text); });
        const bool isFlag = value->type == std::string_view("boolean");
        if (sign == std::end(comparisonSigns)) {
            if (!isFlag)
                failExpecting("an operator (" + listSigns(*value) + ") after " + inQuotes(name.text));
            return flag(*value, !negated);
        }
        if (!fits(sign->op, *value))
            fail(token_.at, inQuotes(token_.text) + " does not fit " + inQuotes(name.text) + ", which is " +
                                describeType(value->type) + "; what fits is " + listSigns(*value));
        advance();
        negated = negated != sign->isNegative;
        if (isFlag)
            return flag(*value, takeFlag() != negated);
        const bool hasTwo = sign->op == Predicate_Predicate::Between;
        return predicate(*value, sign->op, negated, hasTwo ? range(*value) : operand(*value));
    }

    bool takeFlag() {
        const bool isTrue = strcasecmp(token_.text.c_str(), "true") == 0;
        if (!isTrue && strcasecmp(token_.text.c_str(), "false") != 0)
            failExpecting(describeType("boolean"));
        advance();
        return isTrue;
    }

    /// The two operands of "between" as one.
    SearchOperand range(const System_FSOAttribute& value) {
        const std::size_t at = token_.at;
        SearchOperand from = operand(value);
        if (!token_.isAnd())
            failExpecting("\"and\" with the greater one of two operands");
        advance();
        SearchOperand to = operand(value);
        // Numbers and dates are in the order of their texts, the shorter one first.
        const auto order = [](const std::string& each) { return std::make_pair(each.size(), each); };
        if (from.isLiteral && to.isLiteral && value.type != std::string_view("string") &&
            order(from.first) > order(to.last))
            fail(at, "nothing is between these two, since the first is the greater one");
        return {std::move(from.first), std::move(to.last)};
    }

    /// The value that the token names, if it is one.
    const System_FSOAttribute* findValue() {
        std::string name = token_.text;
        for (const auto& [shortName, meant] : shortNames)
            if (token_.is(shortName))
                name = meant;
        for (const System_FSOAttribute& value : System_FileSystemObject::attributes()) {
            if (value.type == nullptr || strcasecmp(value.name, name.c_str()) != 0)
                continue;
            if (isOfTree(value) && !ofTree_)
                ofTree_ = token_;
            return &value;
        }
        return nullptr;
    }

    SearchOperand operand(const System_FSOAttribute& value) {
        const std::string_view type = value.type;
        if (token_.kind == SearchToken::Sign || token_.kind == SearchToken::End || token_.isReserved())
            failExpecting(describeType(type) +
                          (token_.isReserved() && type == "string" ? " (here in quotes)" : ""));
        if (type == "string") {
            if (token_.text.starts_with(Predicate_SubstituteMark))
                fail(token_.at,
                     std::string("the agent takes no text that begins with ") + Predicate_SubstituteMark);
            const std::string text = take().text;
            return {text, text};
        }
        if (token_.kind == SearchToken::Word) {
            const System_FSOAttribute* const other = findValue();
            if (other != nullptr && other->type == type) {
                advance();
                const std::string name = std::string(Predicate_SubstituteMark) + other->name;
                return {name, name, false};
            }
        }
        return type == "date" ? date() : number(isSize(value));
    }

    SearchOperand date() {
        SearchToken written = take();
        if (written.kind == SearchToken::Word && token_.kind == SearchToken::Word && isTimeOfDay(token_.text))
            written.text += ' ' + take().text;
        std::optional<SearchOperand> read = readDate(written.text);
        if (!read)
            fail(written.at, inQuotes(written.text) + " is no date; 2026-01-31, 2026-01-31 12:30 and "
                                                      "2026-01-31 12:30:00 are");
        return std::move(*read);
    }

    SearchOperand number(bool ofBytes) {
        const std::optional<std::uint64_t> read = readNumber(token_.text, ofBytes);
        if (!read)
            fail(token_.at,
                 inQuotes(token_.text) +
                     (ofBytes ? " is no size of less than 2^64 bytes; 1000, 10K, 1.5G and 2TiB are sizes"
                              : " is no whole number of less than 2^64"));
        advance();
        const std::string text = std::to_string(*read);
        return {text, text};
    }

    /// By its operand alone: a search for directories is one that tests against "true".
    Ctl_Node flag(const System_FSOAttribute& value, bool expected) {
        testsForDirectories_ = testsForDirectories_ || expected;
        const char* const text = expected ? "true" : "false";
        return predicate(value, Predicate_Predicate::Equal, false, {text, text});
    }

    static Ctl_Node predicate(const System_FSOAttribute& value, Predicate_Predicate::Operator op,
                              bool negated, const SearchOperand& operand) {
        const bool isRange = operand.first != operand.last;
        if (op == Predicate_Predicate::Equal && isRange)
            op = Predicate_Predicate::Between;
        const bool beyond =
            op == Predicate_Predicate::GreaterThan || op == Predicate_Predicate::LessThanOrEqualTo;
        Ctl_Node node{"Predicate",
                      {},
                      {{"valueName", value.name}, {"operator", Predicate_Predicate::operatorToString(op)}},
                      {}};
        if (negated)
            node.attributes.emplace_back(
                "operatorModifier", Predicate_Predicate::operatorModifierToString(Predicate_Predicate::Not));
        node.attributes.emplace_back("operand1", beyond ? operand.last : operand.first);
        if (op == Predicate_Predicate::Between)
            node.attributes.emplace_back("operand2", operand.last);
        return node;
    }

    std::string_view text_;
    std::size_t at_ = 0; ///< behind the token
    SearchToken token_;
    int nested_ = 0;
    std::optional<SearchToken> ofTree_; ///< the first value of a whole tree
    bool testsForDirectories_ = false;
};

} // namespace

std::string Ctl_SearchCondition(std::string_view expression) {
    std::string out;
    appendElement(out, SearchParser(expression).parse());
    return out;
}
