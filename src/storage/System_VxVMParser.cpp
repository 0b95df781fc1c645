#include "storage/System_VxVMParser.h"

#include "base/String_Functions.h"

#include <algorithm>
#include <string_view>

namespace {

constexpr const char* fieldSeparators = " \t";

std::vector<std::string> wordsOf(std::string_view line) {
    std::vector<std::string> words = string2vector(std::string(line), fieldSeparators);
    if (!words.empty())
        nxstrtoupr(words.front().data());
    return words;
}

} // namespace

void System_VxVMTypeColumns::getColumns(std::vector<std::string>* out) const {
    out->insert(out->end(), columns_.begin(), columns_.end());
}

int System_VxVMTypeColumns::getColumnIndex(const char* name) const {
    const auto column = std::find(columns_.begin(), columns_.end(), name);
    return column == columns_.end() ? -1 : static_cast<int>(column - columns_.begin());
}

void System_VxVMTypeValues::appendRow(const std::vector<std::string>& words) {
    for (std::size_t index = 0; index < columns_.size() && index + 1 < words.size(); ++index)
        columns_[index].push_back(words[index + 1]);
}

const std::vector<std::string>* System_VxVMTypeValues::column(int index) const {
    const auto position = static_cast<std::size_t>(index);
    return index < 0 || position >= columns_.size() ? nullptr : &columns_[position];
}

bool System_VxVMTypeValues::getValues(std::vector<std::string>* out, int index) const {
    const std::vector<std::string>* values = column(index);
    if (values == nullptr)
        return false;
    out->insert(out->end(), values->begin(), values->end());
    return true;
}

bool System_VxVMTypeValues::getValuesLookup(std::vector<std::string>* out, int lookupColumn,
                                            const std::string& lookupValue, int valueColumn) const {
    const std::vector<std::string>* keys = column(lookupColumn);
    const std::vector<std::string>* values = column(valueColumn);
    if (keys == nullptr || values == nullptr || keys->size() != values->size())
        return false;
    for (std::size_t row = 0; row < keys->size(); ++row)
        if ((*keys)[row] == lookupValue)
            out->push_back((*values)[row]);
    return true;
}

void System_VxVMDiskGroup::appendRow(const System_VxVMTypeColumns& type,
                                     const std::vector<std::string>& words) {
    values_.try_emplace(type.getType(), type.getType(), type.size()).first->second.appendRow(words);
}

bool System_VxVMDiskGroup::getValues(std::vector<std::string>* out, const std::string& type,
                                     int column) const {
    const auto values = values_.find(type);
    return values == values_.end() || values->second.getValues(out, column);
}

bool System_VxVMDiskGroup::getValuesLookup(std::vector<std::string>* out, const std::string& type,
                                           int lookupColumn, const std::string& lookupValue,
                                           int valueColumn) const {
    const auto values = values_.find(type);
    return values == values_.end() ||
           values->second.getValuesLookup(out, lookupColumn, lookupValue, valueColumn);
}

/// The text's lines; one of nothing but blanks counts as empty.
class System_VxVMParser::Lines {
public:
    explicit Lines(std::string_view text) : rest_(text) { next(); }

    bool isEnd() const { return isEnd_; }
    bool isEmpty() const { return line_.find_first_not_of(fieldSeparators) == std::string_view::npos; }
    std::string_view line() const { return line_; }

    void next() {
        isEnd_ = rest_.empty();
        line_ = rest_.substr(0, rest_.find_first_of("\n\r"));
        rest_.remove_prefix(line_.size());
        if (!rest_.empty())
            rest_.remove_prefix(rest_.starts_with("\r\n") ? 2 : 1);
    }

    void skipEmpty() {
        while (!isEnd_ && isEmpty())
            next();
    }

private:
    std::string_view rest_;
    std::string_view line_;
    bool isEnd_ = false;
};

bool System_VxVMParser::parse(const char* text) {
    deallocateTypeColumns();
    deallocateDiskGroups();
    if (text != nullptr) {
        Lines lines(text);
        if (parseGroups(lines))
            return true;
    }
    deallocateTypeColumns();
    deallocateDiskGroups();
    return false;
}

bool System_VxVMParser::parseGroups(Lines& lines) {
    do {
        const std::string_view head = lines.line();
        const std::size_t colon = head.find(':');
        const std::size_t name =
            colon == std::string_view::npos ? colon : head.find_first_not_of(fieldSeparators, colon + 1);
        if (name == std::string_view::npos)
            return false;
        lines.next();
        lines.skipEmpty();
        if (groups_.empty()) {
            parseTypes(lines);
            lines.skipEmpty();
        }
        const std::string group(head.substr(name));
        if (!parseRows(lines, groups_.try_emplace(group, group).first->second))
            return false;
        lines.skipEmpty();
    } while (!lines.isEnd());
    return true;
}

void System_VxVMParser::parseTypes(Lines& lines) {
    for (; !lines.isEnd() && !lines.isEmpty(); lines.next()) {
        std::vector<std::string> columns = wordsOf(lines.line());
        const std::string type = columns.front();
        columns.erase(columns.begin());
        types_.try_emplace(type, type, std::move(columns));
    }
}

bool System_VxVMParser::parseRows(Lines& lines, System_VxVMDiskGroup& group) {
    for (; !lines.isEnd() && !lines.isEmpty(); lines.next()) {
        const std::vector<std::string> words = wordsOf(lines.line());
        const auto type = types_.find(words.front());
        if (type == types_.end() || type->second.size() == 0)
            return false;
        group.appendRow(type->second, words);
    }
    return true;
}

int System_VxVMParser::columnIndex(const char* type, const char* column) const {
    const auto columns = types_.find(type);
    return columns == types_.end() ? -1 : columns->second.getColumnIndex(column);
}

template <typename Question>
bool System_VxVMParser::ask(const char* diskGroup, Question question) const {
    if (diskGroup != nullptr) {
        const auto group = groups_.find(diskGroup);
        return group != groups_.end() && question(group->second);
    }
    return std::all_of(groups_.begin(), groups_.end(),
                       [&](const auto& entry) { return question(entry.second); });
}

void System_VxVMParser::getTypes(std::vector<std::string>* out) const {
    for (const auto& entry : types_)
        out->push_back(entry.first);
}

void System_VxVMParser::getDiskGroups(std::vector<std::string>* out) const {
    for (const auto& entry : groups_)
        out->push_back(entry.first);
}

bool System_VxVMParser::getColumnsLookup(std::vector<std::string>* out, const char* type) const {
    const auto columns = types_.find(type);
    if (columns == types_.end())
        return false;
    columns->second.getColumns(out);
    return true;
}

bool System_VxVMParser::getValues(std::vector<std::string>* out, const char* type, const char* column,
                                  const char* diskGroup) const {
    const int index = columnIndex(type, column);
    return index >= 0 && ask(diskGroup, [&](const System_VxVMDiskGroup& group) {
               return group.getValues(out, type, index);
           });
}

bool System_VxVMParser::getValuesLookup(std::vector<std::string>* out, const char* type,
                                        const char* lookupColumn, const char* lookupValue,
                                        const char* valueColumn, const char* diskGroup) const {
    const int lookup = columnIndex(type, lookupColumn);
    const int value = columnIndex(type, valueColumn);
    return lookup >= 0 && value >= 0 && ask(diskGroup, [&](const System_VxVMDiskGroup& group) {
               return group.getValuesLookup(out, type, lookup, lookupValue, value);
           });
}

bool System_VxVMParser::getDiskGroupsLookup(std::vector<std::string>* out, const char* type,
                                            const char* column, const char* value) const {
    const int index = columnIndex(type, column);
    return index >= 0 && ask(nullptr, [&](const System_VxVMDiskGroup& group) {
               std::vector<std::string> values;
               if (!group.getValuesLookup(&values, type, index, value, index))
                   return false;
               if (!values.empty())
                   out->push_back(group.getName());
               return true;
           });
}
