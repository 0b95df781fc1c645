#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <utility>
#include <vector>

/// The columns that rows of one type have in the output of `vxprint -t`.
class System_VxVMTypeColumns {
public:
    System_VxVMTypeColumns(std::string type, std::vector<std::string> columns)
        : type_(std::move(type)), columns_(std::move(columns)) {}

    const std::string& getType() const { return type_; }
    /// Appends their names.
    void getColumns(std::vector<std::string>* out) const;
    std::size_t size() const { return columns_.size(); }
    /// -1 if there is no such column.
    int getColumnIndex(const char* name) const;

private:
    std::string type_;
    std::vector<std::string> columns_;
};

/// The rows of one type in one disk group, column by column. A row that ends early is missing in the columns
/// behind its end.
class System_VxVMTypeValues {
public:
    System_VxVMTypeValues(std::string type, std::size_t columns)
        : type_(std::move(type)), columns_(columns) {}

    const std::string& getType() const { return type_; }
    /// The first word is the type. Words behind the last column are dropped.
    void appendRow(const std::vector<std::string>& words);
    /// Appends the column. False if there is none of that index.
    bool getValues(std::vector<std::string>* out, int column) const;
    /// For each row with `lookupValue` in its column `lookupColumn`, appends what stands in `valueColumn`.
    /// False if there are no such columns, or if they differ in length so that rows cannot be told.
    bool getValuesLookup(std::vector<std::string>* out, int lookupColumn, const std::string& lookupValue,
                         int valueColumn) const;
    void deallocateValueBlock() { columns_.clear(); }

private:
    const std::vector<std::string>* column(int index) const;

    std::string type_;
    std::vector<std::vector<std::string>> columns_;
};

/// A disk group with its rows. A type of which it has no row gives nothing and is no failure.
class System_VxVMDiskGroup {
public:
    explicit System_VxVMDiskGroup(std::string name) : name_(std::move(name)) {}

    const std::string& getName() const { return name_; }
    void appendRow(const System_VxVMTypeColumns& type, const std::vector<std::string>& words);
    bool getValues(std::vector<std::string>* out, const std::string& type, int column) const;
    bool getValuesLookup(std::vector<std::string>* out, const std::string& type, int lookupColumn,
                         const std::string& lookupValue, int valueColumn) const;
    void deallocateTypeValues() { values_.clear(); }

private:
    std::string name_;
    std::map<std::string, System_VxVMTypeValues, std::less<>> values_;
};

/// Reads the output of `vxprint -t`: for each disk group a head with its name behind a ":" and its rows, each
/// with its type in front; before the first group's rows a table of the types and their columns. Empty lines
/// part them. Questions append to what `out` holds; columns are named, and without a disk group all groups
/// are asked. For one thread at a time.
class System_VxVMParser {
public:
    /// In place of what was read before. False, and nothing is known, for a text of any other form.
    bool parse(const char* text);

    void getTypes(std::vector<std::string>* out) const;
    void getDiskGroups(std::vector<std::string>* out) const;
    /// False for a type that is not known, like all questions below.
    bool getColumnsLookup(std::vector<std::string>* out, const char* type) const;
    bool getValues(std::vector<std::string>* out, const char* type, const char* column,
                   const char* diskGroup) const;
    bool getValuesLookup(std::vector<std::string>* out, const char* type, const char* lookupColumn,
                         const char* lookupValue, const char* valueColumn, const char* diskGroup) const;
    /// The names of the groups in which a row of that type has this value.
    bool getDiskGroupsLookup(std::vector<std::string>* out, const char* type, const char* column,
                             const char* value) const;

    void deallocateTypeColumns() { types_.clear(); }
    void deallocateDiskGroups() { groups_.clear(); }

private:
    class Lines;

    bool parseGroups(Lines& lines);
    void parseTypes(Lines& lines);
    bool parseRows(Lines& lines, System_VxVMDiskGroup& group);
    int columnIndex(const char* type, const char* column) const;
    /// Asks the group of that name, or all of them; false if there is none or one of them refuses.
    template <typename Question>
    bool ask(const char* diskGroup, Question question) const;

    std::map<std::string, System_VxVMTypeColumns, std::less<>> types_;
    std::map<std::string, System_VxVMDiskGroup, std::less<>> groups_;
};
