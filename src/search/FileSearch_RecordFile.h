#pragma once

#include "base/File_Descriptor.h"
#include "search/FileSearch_Record.h"

#include <cstdint>
#include <string>

/// The hits of one volume of a search, in the order in which they were found. Written once, then only read;
/// at most 4 GiB.
///
/// Records are written through a buffer. After a failure of writeRecord or endWriting the file ends behind
/// the last whole record, at `getEndOffset`: records that were given an offset there or beyond are lost, and
/// writing may go on. A damaged record fails the read of that record and nothing else. For one thread at a
/// time; offsets are bytes.
class FileSearch_RecordFile {
public:
    FileSearch_RecordFile() = default;
    FileSearch_RecordFile(const FileSearch_RecordFile&) = delete;
    FileSearch_RecordFile& operator=(const FileSearch_RecordFile&) = delete;
    ~FileSearch_RecordFile() = default;

    /// False for a null argument.
    bool setPath(const char* name, const char* volume, const char* directory);
    const std::string& getPath() const { return path_; }
    bool doesFileExist(bool& exists) const;
    /// Opens the file, or makes it. False if it is open.
    bool openFile();
    bool closeFile();
    /// Writes the header of a new file.
    bool createNewFile();

    bool beginWriting();
    /// `offset` is where the record begins.
    bool writeRecord(const FileSearch_Record& record, std::uint32_t& offset);
    bool endWriting();
    /// Behind the last record that counts.
    std::uint32_t getEndOffset() const { return static_cast<std::uint32_t>(endOffset_); }

    bool beginReadingSerialAccess();
    bool seekToStartOfRecords(std::uint32_t& offset);
    bool readRecordSerial(FileSearch_Record& record, std::uint32_t& offset);
    bool isEndOfFile() const { return currentOffset_ >= endOffset_; }
    bool endReadingSerialAccess();

    bool beginReadingRandomAccess();
    bool readRecordRandom(FileSearch_Record& record, std::uint32_t offset);
    bool endReadingRandomAccess();

private:
    enum AccessState : int { Writing = 1, ReadingSerial = 2, ReadingRandom = 3, Idle = 999 };

    bool enter(AccessState state);
    bool leave(AccessState state);
    bool flush();
    bool readAt(std::uint64_t offset, FileSearch_Record& record, std::uint64_t& next);
    bool load(std::uint64_t offset, std::size_t length);

    std::string path_;
    File_Descriptor file_;
    AccessState state_ = Idle;
    std::uint64_t endOffset_ = 0;
    std::uint64_t currentOffset_ = 0;
    std::string buffer_; ///< to be written at the end of the file, or read from `bufferOffset_`
    std::uint64_t bufferOffset_ = 0;
};
