#include "host/Host_Record.h"

#include "base/File_Contents.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <set>
#include <stdexcept>

namespace {

constexpr const char* indexFile = "index";
constexpr const char* textFolder = "text";
constexpr std::size_t largestText = std::size_t{64} << 20;
/// A text of one line up to this length stands in the index.
constexpr std::size_t longestInIndex = 400;
constexpr std::size_t longestFileName = 60;
/// Beyond every number that errno has.
constexpr int errorNumbers = 4096;

/// What stands between the words of a question and those of its answer.
constexpr const char* isAnswer = "=";
constexpr const char* isText = "<";
constexpr const char* isFailure = "!";

[[noreturn]] void refuse(const std::string& what) {
    throw std::runtime_error(what);
}

struct Kind {
    const char* kind;
    /// Of the question, the kind among them.
    std::size_t words;
    /// For kinds that come in several forms: the word that tells them apart, and its place. Null for any.
    std::size_t place;
    const char* form;
    bool (*isSound)(const Host_Words& answer);
};

template <typename Value>
bool is(const Host_Words& answer) {
    Value value{};
    return Host_FromWords(answer, value);
}

constexpr Kind kinds[] = {
    {"host", 2, 1, "name", is<std::string>},
    {"host", 2, 1, "domain", is<std::string>},
    {"host", 2, 1, "gmt-offset", is<int>},
    {"host", 2, 1, "daylight", is<bool>},
    {"command", 2, 0, nullptr, is<std::string>},
    {"file", 2, 0, nullptr, is<std::string>},
    {"folder", 2, 0, nullptr, is<std::vector<std::string>>},
    {"link", 2, 0, nullptr, is<std::string>},
    {"node", 2, 0, nullptr, is<Host_Node>},
    {"filesystem", 2, 0, nullptr, is<Host_FileSystem>},
    {"device", 2, 0, nullptr, [](const Host_Words& answer) { return answer.empty(); }},
    {"device", 3, 2, "scsi", is<Host_ScsiAddress>},
    {"device", 3, 2, "inquiry", is<std::string>},
    {"device", 3, 2, "identity", is<std::string>},
    {"device", 3, 2, "end", is<std::uint64_t>},
    {"device", 5, 2, "bytes", is<std::string>},
};

/// Null if there is no such question. What stands behind the form are numbers.
const Kind* kindOf(const Host_Words& question) {
    for (const Kind& kind : kinds) {
        if (question.size() != kind.words || question.front() != kind.kind)
            continue;
        if (kind.form == nullptr)
            return &kind;
        const auto form = question.begin() + static_cast<std::ptrdiff_t>(kind.place);
        if (*form == kind.form && std::all_of(form + 1, question.end(), [](const std::string& word) {
                return is<std::uint64_t>({word});
            }))
            return &kind;
    }
    return nullptr;
}

// ---- words

/// What a word that needs no quotes is made of.
constexpr std::string_view ordinary =
    "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789/._-:+,@%()";

std::string quote(const std::string& word) {
    if (!word.empty() && word.find_first_not_of(ordinary) == std::string::npos)
        return word;
    std::string quoted = "\"";
    for (const char character : word) {
        if (character == '"' || character == '\\') {
            quoted += '\\';
            quoted += character;
        } else if (character == '\n') {
            quoted += "\\n";
        } else if (character == '\t') {
            quoted += "\\t";
        } else if (character >= ' ' && character <= '~') {
            quoted += character;
        } else {
            constexpr char digits[] = "0123456789abcdef";
            const auto byte = static_cast<unsigned char>(character);
            quoted += "\\x";
            quoted += digits[byte >> 4];
            quoted += digits[byte & 0xf];
        }
    }
    return quoted + '"';
}

/// Takes words off the front of a line.
class WordReader {
public:
    explicit WordReader(std::string_view line) : rest_(line) {}

    /// False at the end. `quoted` tells whether it stood in quotes: then it is never a mark.
    bool next(std::string& word, bool& quoted) {
        rest_.remove_prefix(std::min(rest_.find_first_not_of(" \t"), rest_.size()));
        if (rest_.empty())
            return false;
        quoted = rest_.front() == '"';
        word.clear();
        if (quoted) {
            take();
            while (peek() != '"')
                word += take() == '\\' ? escaped() : taken_;
            take();
            if (!rest_.empty() && rest_.front() != ' ' && rest_.front() != '\t')
                refuse("a word goes on behind its quotes");
        } else {
            const std::size_t length = std::min(rest_.find_first_of(" \t"), rest_.size());
            word = rest_.substr(0, length);
            rest_.remove_prefix(length);
        }
        return true;
    }

private:
    char peek() const {
        if (rest_.empty())
            refuse("a quote is not closed");
        return rest_.front();
    }
    char take() {
        taken_ = peek();
        rest_.remove_prefix(1);
        return taken_;
    }
    unsigned digit() {
        const char character = take();
        if (character >= '0' && character <= '9')
            return static_cast<unsigned>(character - '0');
        if (character >= 'a' && character <= 'f')
            return static_cast<unsigned>(character - 'a') + 10;
        refuse("\\x without two hexadecimal digits in small letters");
    }
    char escaped() {
        switch (take()) {
        case 'n':
            return '\n';
        case 't':
            return '\t';
        case '\\':
        case '"':
            return taken_;
        case 'x': {
            const unsigned high = digit();
            return static_cast<char>(high << 4 | digit());
        }
        default:
            refuse("there are \\n, \\t, \\\\, \\\" and \\x");
        }
    }

    std::string_view rest_;
    char taken_ = 0;
};

std::string join(const Host_Words& words) {
    std::string line;
    for (const std::string& word : words)
        line += (line.empty() ? "" : " ") + quote(word);
    return line;
}

// ---- numbers of errno

std::string errorName(int error) {
    const char* name = strerrorname_np(error);
    return name != nullptr ? name : std::to_string(error);
}

int errorNumber(const std::string& name) {
    for (int error = 1; error < errorNumbers; ++error)
        if (errorName(error) == name)
            return error;
    refuse("there is no error " + name);
}

// ---- the index

using TextReader = std::function<std::string(const std::string& name)>;

Host_Answer<Host_Words> readAnswer(const std::string& mark, Host_Words words, const TextReader& readText) {
    if (mark == isAnswer)
        return words;
    if (words.size() != 1)
        refuse("one word is expected behind " + mark);
    if (mark == isFailure)
        return Host_Answer<Host_Words>::failure(errorNumber(words.front()));
    return Host_Words{readText(words.front())};
}

void readLine(Host_Record& record, std::string_view line, const TextReader& readText) {
    WordReader reader(line);
    Host_Words question;
    Host_Words answer;
    std::string mark;
    std::string word;
    for (bool quoted = false; reader.next(word, quoted);) {
        const bool isMark = !quoted && (word == isAnswer || word == isText || word == isFailure);
        if (mark.empty() && isMark)
            mark = word;
        else
            (mark.empty() ? question : answer).push_back(word);
    }
    if (question.empty() && mark.empty())
        return;
    if (mark.empty() || question.empty())
        refuse("neither a question with its answer, nor a comment");
    const Kind* kind = kindOf(question);
    if (kind == nullptr)
        refuse("there is no such question");
    Host_Answer<Host_Words> read = readAnswer(mark, std::move(answer), readText);
    if (read && !kind->isSound(*read))
        refuse("the answer does not fit the question");
    if (!record.answers.try_emplace(std::move(question), std::move(read)).second)
        refuse("the question has been answered before");
}

Host_Record parse(std::string_view index, const TextReader& readText) {
    Host_Record record;
    for (unsigned number = 1; !index.empty(); ++number) {
        const std::string_view line = index.substr(0, index.find('\n'));
        index.remove_prefix(std::min(line.size() + 1, index.size()));
        if (line.starts_with('#'))
            continue;
        try {
            readLine(record, line, readText);
        } catch (const std::runtime_error& error) {
            refuse("line " + std::to_string(number) + ": " + error.what());
        }
    }
    return record;
}

std::string readWhole(const std::string& path) {
    std::string contents;
    if (!File_ReadWhole(path.c_str(), contents, largestText))
        refuse(path + ": " + std::strerror(errno)); // NOLINT(concurrency-mt-unsafe)
    return contents;
}

// ---- the folder

/// Names for the texts of a folder, told from the question and each given once.
class FileNames {
public:
    std::string nameFor(const Host_Words& question) {
        std::string name;
        for (const char character : question.back()) {
            const bool letter = std::isalnum(static_cast<unsigned char>(character)) != 0 || character == '.';
            if (letter && name.size() < longestFileName)
                name += character;
            else if (!name.empty() && name.back() != '-')
                name += '-';
        }
        name = name.substr(0, name.find_last_not_of("-.") + 1);
        std::string unique = name;
        for (int number = 2; !given_.insert(unique).second; ++number)
            unique = name + "-" + std::to_string(number);
        return std::string(textFolder) + "/" + unique;
    }

private:
    std::set<std::string> given_;
};

void writeFile(const std::string& path, const std::string& contents) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << contents;
    if (!file.flush())
        refuse(path + " cannot be written");
}

std::string lineOf(const Host_Words& question, const char* mark, const std::string& answer) {
    return join(question) + " " + mark + (answer.empty() ? "" : " ") + answer + "\n";
}

/// A text of several lines, which is easier to read in a file of its own.
bool isLong(const Host_Answer<Host_Words>& answer) {
    if (!answer || answer->size() != 1)
        return false;
    const std::string& text = answer->front();
    const std::size_t end = text.find('\n');
    return text.size() > longestInIndex || (end != std::string::npos && end + 1 != text.size());
}

} // namespace

Host_Record Host_ReadRecord(const std::string& folder) {
    const std::string index = folder + "/" + indexFile;
    try {
        return parse(readWhole(index), [&](const std::string& name) {
            if (name.starts_with('/') || name.find("..") != std::string::npos)
                refuse("a text lies in the folder of its index");
            return readWhole(folder + "/" + name);
        });
    } catch (const std::runtime_error& error) {
        refuse(index + ": " + error.what());
    }
}

Host_Record Host_ParseRecord(std::string_view index) {
    return parse(index, [](const std::string&) -> std::string { refuse("there is no folder of texts"); });
}

void Host_WriteRecord(const Host_Record& record, const std::string& folder) {
    std::string index = "# A recorded host: each line a question and what the host answered.\n";
    FileNames names;
    const std::string inFolder = folder + "/";
    std::filesystem::create_directory(inFolder + textFolder);
    for (const auto& [question, answer] : record.answers) {
        if (!answer) {
            index += lineOf(question, isFailure, errorName(answer.error()));
        } else if (isLong(answer)) {
            const std::string name = names.nameFor(question);
            writeFile(inFolder + name, answer->front());
            index += lineOf(question, isText, name);
        } else {
            index += lineOf(question, isAnswer, join(*answer));
        }
    }
    writeFile(inFolder + indexFile, index);
}
