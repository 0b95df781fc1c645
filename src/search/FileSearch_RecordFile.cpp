#include "search/FileSearch_RecordFile.h"

#include "base/File_Operations.h"
#include "log/Debug_Printf.h"
#include "search/FileSearch_ResultPath.h"

#include <algorithm>
#include <cerrno>
#include <limits>
#include <string_view>
#include <unistd.h>

namespace {

constexpr const char* recordEnding = ".dat";
constexpr std::string_view recordHeaderText = "NORVALITH_FILE_SEARCH_RECORDS_FILE";
constexpr std::size_t recordHeaderLength = 1024;
constexpr std::size_t versionOffset = 64;
/// 0x00100000, little-endian.
constexpr std::string_view version("\0\0\x10\0", 4);
/// Hits are written when so many bytes have come together.
constexpr std::size_t writeAt = std::size_t{256} * 1024;
/// What one read brings, of which the records of a page are taken.
constexpr std::size_t readAhead = std::size_t{64} * 1024;
constexpr std::uint64_t largestFile = std::numeric_limits<std::uint32_t>::max();

} // namespace

bool FileSearch_RecordFile::setPath(const char* name, const char* volume, const char* directory) {
    const std::optional<std::string> path = FileSearch_VolumePath(name, volume, directory, recordEnding);
    path_ = path.value_or("");
    return path.has_value();
}

bool FileSearch_RecordFile::doesFileExist(bool& exists) const {
    const File_Descriptor file(File_Open(path_.c_str(), File_AccessRead, 0));
    exists = static_cast<bool>(file);
    if (!exists)
        DEBUG_LOG("FileSearch_RecordFile::doesFileExist: error open file %s: errno %u\n", path_.c_str(),
                  static_cast<unsigned>(errno));
    return true;
}

bool FileSearch_RecordFile::openFile() {
    if (file_)
        return false;
    file_.reset(File_Open(path_.c_str(), File_AccessRead | File_AccessWrite, File_FlagCreate));
    if (!file_)
        DEBUG_LOG("FileSearch_RecordFile::openFile: error open file %s: errno %u\n", path_.c_str(),
                  static_cast<unsigned>(errno));
    state_ = Idle;
    buffer_.clear();
    return static_cast<bool>(file_);
}

bool FileSearch_RecordFile::closeFile() {
    const bool wasOpen = static_cast<bool>(file_);
    file_.reset();
    state_ = Idle;
    buffer_ = {};
    return wasOpen;
}

bool FileSearch_RecordFile::createNewFile() {
    std::string header(recordHeaderLength, '\0');
    header.replace(0, recordHeaderText.size(), recordHeaderText);
    header.replace(versionOffset, version.size(), version);
    std::size_t count = 0;
    return file_ && File_Write(file_.get(), header.data(), header.size(), count);
}

bool FileSearch_RecordFile::enter(AccessState state) {
    if (!file_ || state_ != Idle)
        return false;
    state_ = state;
    buffer_.clear();
    return true;
}

bool FileSearch_RecordFile::leave(AccessState state) {
    if (state_ != state)
        return false;
    state_ = Idle;
    return true;
}

bool FileSearch_RecordFile::beginWriting() {
    std::uint64_t end = 0;
    const bool isReady = file_ && state_ == Idle;
    if (!isReady || !File_Seek(file_.get(), 0, end, File_SeekFromEnd)) {
        if (isReady)
            DEBUG_LOG("FileSearch_RecordFile::beginWriting: error file seek: errno %u\n",
                      static_cast<unsigned>(errno));
        DEBUG_LOG("FileSearch_RecordFile::beginWriting exit with error\n");
        return false;
    }
    endOffset_ = currentOffset_ = end;
    return enter(Writing);
}

bool FileSearch_RecordFile::writeRecord(const FileSearch_Record& record, std::uint32_t& offset) {
    const auto fail = [] {
        DEBUG_LOG("FileSearch_RecordFile::writeRecord exit with error\n");
        return false;
    };
    if (state_ != Writing)
        return fail();
    offset = static_cast<std::uint32_t>(currentOffset_);
    const std::uint64_t length = FileSearch_RecordLength(record.data());
    if (currentOffset_ + length > largestFile) {
        // After a failure the file has what counts.
        flush();
        return fail();
    }
    FileSearch_AppendRecord(buffer_, record.data());
    currentOffset_ += length;
    return buffer_.size() < writeAt || flush() || fail();
}

/// Writes what has come together. What is not whole in the file goes from it.
bool FileSearch_RecordFile::flush() {
    std::size_t count = 0;
    const bool isWritten = File_Write(file_.get(), buffer_.data(), buffer_.size(), count);
    std::size_t whole = 0;
    for (std::uint32_t length = 0;
         FileSearch_ReadRecordHead(std::string_view(buffer_).substr(whole), length) &&
         whole + FileSearch_RecordHead + length <= count;)
        whole += FileSearch_RecordHead + length;
    endOffset_ += whole;
    currentOffset_ = endOffset_;
    buffer_.clear();
    if (isWritten)
        return true;
    std::uint64_t position = 0;
    if (ftruncate(file_.get(), static_cast<off_t>(endOffset_)) != 0 ||
        !File_Seek(file_.get(), static_cast<std::int64_t>(endOffset_), position, File_SeekFromStart))
        state_ = Idle;
    return false;
}

bool FileSearch_RecordFile::endWriting() {
    const bool isWritten = state_ == Writing && flush();
    return leave(Writing) && isWritten;
}

bool FileSearch_RecordFile::beginReadingSerialAccess() {
    return enter(ReadingSerial);
}

bool FileSearch_RecordFile::seekToStartOfRecords(std::uint32_t& offset) {
    std::uint64_t end = 0;
    if (!file_ || !File_Seek(file_.get(), 0, end, File_SeekFromEnd)) {
        DEBUG_LOG("FileSearch_RecordFile::seekToStartOfRecords: error file seek end: errno %u\n",
                  static_cast<unsigned>(errno));
        DEBUG_LOG("FileSearch_RecordFile::seekToStartOfRecords exit with error\n");
        return false;
    }
    endOffset_ = end;
    currentOffset_ = recordHeaderLength;
    offset = recordHeaderLength;
    return true;
}

/// Has the buffer hold these bytes of the file. False if the file has not as many.
bool FileSearch_RecordFile::load(std::uint64_t offset, std::size_t length) {
    if (offset >= bufferOffset_ && offset - bufferOffset_ + length <= buffer_.size())
        return true;
    std::uint64_t end = 0;
    if (!File_Seek(file_.get(), 0, end, File_SeekFromEnd) || offset > end || length > end - offset)
        return false;
    buffer_.resize(std::min<std::uint64_t>(std::max(length, readAhead), end - offset));
    bufferOffset_ = offset;
    std::size_t filled = 0;
    while (filled < buffer_.size()) {
        const ssize_t count = pread(file_.get(), buffer_.data() + filled, buffer_.size() - filled,
                                    static_cast<off_t>(offset + filled));
        if (count <= 0 && !(count < 0 && errno == EINTR))
            break;
        filled += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
    buffer_.resize(filled);
    return filled >= length;
}

bool FileSearch_RecordFile::readAt(std::uint64_t offset, FileSearch_Record& record, std::uint64_t& next) {
    std::uint32_t length = 0;
    const auto stored = [&] { return std::string_view(buffer_).substr(offset - bufferOffset_); };
    if (!load(offset, FileSearch_RecordHead) || !FileSearch_ReadRecordHead(stored(), length) ||
        !load(offset, FileSearch_RecordHead + length)) {
        DEBUG_LOG("FileSearch_RecordFile::readRecordSerial exit with error\n");
        return false;
    }
    record.setData(FileSearch_ReadRecordData(std::string(stored().substr(FileSearch_RecordHead, length))));
    next = offset + FileSearch_RecordHead + length;
    return true;
}

bool FileSearch_RecordFile::readRecordSerial(FileSearch_Record& record, std::uint32_t& offset) {
    offset = static_cast<std::uint32_t>(currentOffset_);
    return state_ == ReadingSerial && readAt(currentOffset_, record, currentOffset_);
}

bool FileSearch_RecordFile::endReadingSerialAccess() {
    return leave(ReadingSerial);
}

bool FileSearch_RecordFile::beginReadingRandomAccess() {
    return enter(ReadingRandom);
}

bool FileSearch_RecordFile::readRecordRandom(FileSearch_Record& record, std::uint32_t offset) {
    std::uint64_t next = 0;
    return state_ == ReadingRandom && readAt(offset, record, next);
}

bool FileSearch_RecordFile::endReadingRandomAccess() {
    return leave(ReadingRandom);
}
