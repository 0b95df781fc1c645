#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

/// One stored hit: bytes, whose meaning is the search's business.
class FileSearch_Record {
public:
    /// Replaces what was held by a copy.
    void setData(const char* data, unsigned length) { data_.assign(data, length); }
    void setData(std::string data) { data_ = std::move(data); }
    /// A new copy, which the caller frees with array delete.
    void getData(char*& data, unsigned& length) const;
    const std::string& data() const { return data_; }
    /// Leaves the record empty; its memory can serve the next one.
    std::string takeData() { return std::move(data_); }

private:
    std::string data_;
};

/// The form of a record in a file: "RECORD", the length of what follows in four bytes, little-endian, and the
/// data, in which each "RECORD" stands twice, so that the mark cannot be met there by chance.
constexpr std::size_t FileSearch_RecordHead = 10;

/// How many bytes the form takes.
std::uint64_t FileSearch_RecordLength(std::string_view data);
/// Appends the form of at most 4 GiB.
void FileSearch_AppendRecord(std::string& out, std::string_view data);
/// The length of what follows the head of a record; false if there is no mark.
bool FileSearch_ReadRecordHead(std::string_view head, std::uint32_t& length);
/// Turns what follows the head back into the data.
std::string FileSearch_ReadRecordData(std::string stored);
