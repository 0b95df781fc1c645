#include "search/FileSearch_Record.h"

#include <algorithm>

namespace {

constexpr std::string_view mark = "RECORD";
constexpr std::string_view doubledMark = "RECORDRECORD";
constexpr unsigned bitsOfByte = 8;

} // namespace

void FileSearch_Record::getData(char*& data, unsigned& length) const {
    length = static_cast<unsigned>(data_.size());
    data = new char[data_.size() + 1]; // NOLINT(cppcoreguidelines-owning-memory): the caller's
    std::copy_n(data_.c_str(), data_.size() + 1, data);
}

std::uint64_t FileSearch_RecordLength(std::string_view data) {
    std::uint64_t length = FileSearch_RecordHead + data.size();
    for (std::size_t at = data.find(mark); at != std::string_view::npos;
         at = data.find(mark, at + mark.size()))
        length += mark.size();
    return length;
}

void FileSearch_AppendRecord(std::string& out, std::string_view data) {
    const std::uint64_t stored = FileSearch_RecordLength(data) - FileSearch_RecordHead;
    out += mark;
    for (std::size_t byte = 0; byte < FileSearch_RecordHead - mark.size(); ++byte)
        out += static_cast<char>(stored >> (byte * bitsOfByte));
    for (std::size_t at = data.find(mark); at != std::string_view::npos; at = data.find(mark)) {
        out += data.substr(0, at);
        out += doubledMark;
        data.remove_prefix(at + mark.size());
    }
    out += data;
}

bool FileSearch_ReadRecordHead(std::string_view head, std::uint32_t& length) {
    if (head.size() < FileSearch_RecordHead || !head.starts_with(mark))
        return false;
    length = 0;
    for (std::size_t byte = FileSearch_RecordHead; byte-- > mark.size();)
        length = length << bitsOfByte | static_cast<unsigned char>(head[byte]);
    return true;
}

std::string FileSearch_ReadRecordData(std::string stored) {
    if (stored.find(doubledMark) == std::string::npos)
        return stored;
    std::string data;
    std::string_view rest = stored;
    for (std::size_t at = rest.find(doubledMark); at != std::string_view::npos; at = rest.find(doubledMark)) {
        data += rest.substr(0, at + mark.size());
        rest.remove_prefix(at + doubledMark.size());
    }
    return data.append(rest);
}
