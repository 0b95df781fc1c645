#pragma once

#include "search/FileSearch_OffsetFile.h"
#include "search/FileSearch_RecordFile.h"
#include "search/FileSearch_VolumeStat.h"

#include <string>
#include <vector>

class System_FileSystemObject;

/// Stores the hits of one volume after the other, and keeps the volume's account in step with what is stored:
/// hits that a full disk swallows are taken back. Memory is four bytes a hit and one buffer. For one thread
/// at a time.
class FileSearch_ResultWriter {
public:
    /// Makes the record file of a volume. False, with a line in the log, if that fails.
    bool begin(const std::string& token, const std::string& directory, FileSearch_VolumeStat& volume);
    /// Counts and stores one hit. False if it, and perhaps some before it, could not be written.
    bool add(const System_FileSystemObject& object, const FileSearch_VolumeStat::Entry& entry);
    /// Ends the record file. False if hits were lost by that.
    bool endRecords();
    /// Makes the offset file, and with that the hits readable. False if that fails.
    bool writeOffsets();
    /// Ends the volume, whatever has been written.
    void close();

private:
    struct Pending {
        std::uint32_t offset;
        FileSearch_VolumeStat::Entry entry;
        std::string parent; ///< the directory that it lies in
    };

    void takeBackLost();

    std::string token_;
    std::string directory_;
    FileSearch_VolumeStat* volume_ = nullptr;
    FileSearch_RecordFile file_;
    bool isWriting_ = false;
    std::vector<std::uint32_t> offsets_;
    /// Hits that are not known to be in the file.
    std::vector<Pending> pending_;
    FileSearch_Record record_;
};
