#pragma once

#include <cstdint>
#include <string>
#include <vector>

/// Where the records of a volume begin, in the order of the record file. It comes to be whole, when the
/// volume has been walked: that it is there means that the record file is complete. For one thread at a time.
class FileSearch_OffsetFile {
public:
    /// False for a null argument.
    bool setPath(const char* name, const char* volume, const char* directory);
    const std::string& getPath() const { return path_; }
    bool doesFileExist(bool& exists) const;
    /// False if the file is open, or there is one that cannot be read.
    bool openFile();
    bool closeFile();
    /// Makes the file, or replaces it. Null fails.
    bool writeOffsets(const std::vector<std::uint32_t>* offsets) const;
    /// Replaces `offsets`. A piece of an offset at the end is dropped.
    bool readOffsets(std::vector<std::uint32_t>* offsets) const;
    /// Only `count` of them from `first` on, or as many as there are.
    bool readOffsets(std::vector<std::uint32_t>* offsets, std::uint64_t first, std::uint64_t count) const;

private:
    std::string path_;
    bool isOpen_ = false;
};
