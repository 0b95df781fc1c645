#include "search/FileSearch_ExpireFile.h"

#include "base/File_Operations.h"
#include "date/System_Date.h"
#include "log/Debug_Printf.h"
#include "search/FileSearch_ResultPath.h"

#include <cerrno>
#include <string_view>

namespace {

constexpr const char* expireEnding = "._expire_.dat";
constexpr std::string_view expireHeaderText = "NORVALITH_FILE_SEARCH_EXPIRATION_FILE";
constexpr std::size_t expireHeaderLength = 1024;
constexpr std::size_t dateLength = 19;

/// Empty if there is none.
std::string currentTime() {
    const std::unique_ptr<System_Date> date = System_FactoryAllocateDate();
    std::string text;
    return date->setToCurrentTime() && date->serialize(&text) ? text : std::string();
}

} // namespace

bool FileSearch_ExpireFile::setPath(const char* name, const char* directory) {
    const std::optional<std::string> path = FileSearch_TokenPath(name, directory, expireEnding);
    path_ = path.value_or("");
    return path.has_value();
}

bool FileSearch_ExpireFile::setPath(const char* path) {
    path_ = path != nullptr ? path : "";
    return path != nullptr;
}

bool FileSearch_ExpireFile::doesFileExist(bool& exists) const {
    exists = static_cast<bool>(File_Descriptor(File_Open(path_.c_str(), File_AccessRead, 0)));
    return true;
}

bool FileSearch_ExpireFile::openFile() {
    if (file_)
        return false;
    file_.reset(File_Open(path_.c_str(), File_AccessRead | File_AccessWrite, File_FlagCreate));
    if (!file_)
        DEBUG_LOG("FileSearch_ExpireFile::openFile: error open file %s: errno %u\n", path_.c_str(),
                  static_cast<unsigned>(errno));
    return static_cast<bool>(file_);
}

bool FileSearch_ExpireFile::closeFile() {
    const bool wasOpen = static_cast<bool>(file_);
    file_.reset();
    return wasOpen;
}

bool FileSearch_ExpireFile::createNewFile() {
    const std::string now = currentTime();
    std::string contents(expireHeaderLength, '\0');
    contents.replace(0, expireHeaderText.size(), expireHeaderText);
    contents += now;
    std::size_t count = 0;
    return file_ && !now.empty() && File_Write(file_.get(), contents.data(), contents.size(), count);
}

bool FileSearch_ExpireFile::refreshFile() {
    const std::string now = currentTime();
    std::uint64_t position = 0;
    std::size_t count = 0;
    return file_ && !now.empty() &&
           File_Seek(file_.get(), expireHeaderLength, position, File_SeekFromStart) &&
           File_Write(file_.get(), now.data(), now.size(), count);
}

bool FileSearch_ExpireFile::isExpired(const System_Date* limit, bool& expired) {
    expired = false;
    std::string text(dateLength, '\0');
    std::uint64_t position = 0;
    std::size_t count = 0;
    if (!file_ || limit == nullptr ||
        !File_Seek(file_.get(), expireHeaderLength, position, File_SeekFromStart) ||
        !File_Read(file_.get(), text.data(), text.size(), count) || count != text.size())
        return false;
    const std::unique_ptr<System_Date> date = System_FactoryAllocateDate();
    if (!date->parse(&text))
        return false;
    expired = *date < *limit;
    return true;
}
