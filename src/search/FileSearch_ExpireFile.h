#pragma once

#include "base/File_Descriptor.h"

#include <string>

class System_Date;

/// When a search was last referred to, in UTC. That the file is there means that the search is. Several
/// objects may stand for one file: each writes the time in one piece at the same place. An object is for one
/// thread at a time.
class FileSearch_ExpireFile {
public:
    /// False for a null argument.
    bool setPath(const char* name, const char* directory);
    bool setPath(const char* path);
    const std::string& getPath() const { return path_; }
    bool doesFileExist(bool& exists) const;
    /// Opens the file, or makes it. False if it is open.
    bool openFile();
    bool closeFile();
    /// Writes header and current time of a new file.
    bool createNewFile();
    /// Writes the current time.
    bool refreshFile();
    /// Whether the time is before `limit`. False, and not expired, if the file cannot be read.
    bool isExpired(const System_Date* limit, bool& expired);

private:
    std::string path_;
    File_Descriptor file_;
};
