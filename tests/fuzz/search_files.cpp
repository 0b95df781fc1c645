/// The files of a search, damaged on the disk: the first byte says how many offsets follow it, the rest are
/// the records and the date. They are read one after another, by their offsets, and as a page.

#include "date/System_Date.h"
#include "search/FileSearch_ExpireFile.h"
#include "search/FileSearch_OffsetFile.h"
#include "search/FileSearch_RecordFile.h"
#include "search/FileSearch_Search.h"
#include "target.h"
#include "xml/Xerces_Document.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

namespace {

constexpr const char* token = "t";
constexpr const char* volume = "/v";
constexpr std::size_t headerLength = 1024;

/// For as long as the program runs.
class Folder {
public:
    Folder() { require(mkdtemp(path_.data()) != nullptr); }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    ~Folder() { std::filesystem::remove_all(path_); }
    const char* path() const { return path_.c_str(); }

private:
    std::string path_ = std::filesystem::temp_directory_path() / "fuzz_search_files.XXXXXX";
};

template <typename File, typename... Name>
void open(File& file, std::string_view contents, Name... name) {
    require(file.setPath(name...));
    std::ofstream(file.getPath(), std::ios::binary | std::ios::trunc) << contents;
    require(file.openFile());
}

void readRecords(const char* folder, std::string_view contents, const std::vector<std::uint32_t>& offsets) {
    FileSearch_RecordFile file;
    open(file, contents, token, volume, folder);
    FileSearch_Record record;
    std::uint32_t offset = 0;
    require(file.beginReadingSerialAccess() && file.seekToStartOfRecords(offset));
    while (!file.isEndOfFile() && file.readRecordSerial(record, offset))
        require(record.data().size() <= contents.size());
    require(file.endReadingSerialAccess() && file.beginReadingRandomAccess());
    for (const std::uint32_t each : offsets)
        require(!file.readRecordRandom(record, each) || each < contents.size());
    require(file.endReadingRandomAccess() && file.closeFile());
}

void readPage(const char* folder) {
    const Xerces_DocumentPtr request =
        Xerces_Parse("<Method><Token>t</Token><Volume>/v</Volume></Method>", "request");
    const Xerces_DocumentPtr reply = Xerces_CreateDocument("Response");
    FileSearch_Search search;
    search.setPath(folder);
    require(search.parseResultsCriteria(Xerces_Root(*request)));
    const bool isWritten = search.serializeResults(reply.get(), Xerces_Root(*reply));
    require(isWritten != Xerces_ChildElements(*Xerces_Root(*reply)).empty());
}

} // namespace

void fuzz(std::string_view input) {
    static const Folder folder;
    if (input.empty())
        return;
    const std::string_view bytes = input.substr(1);
    const std::size_t table =
        std::min<std::size_t>(static_cast<unsigned char>(input[0]) * sizeof(std::uint32_t), bytes.size());
    const std::string rest = std::string(headerLength, '\0').append(bytes.substr(table));

    std::vector<std::uint32_t> offsets;
    FileSearch_OffsetFile offsetFile;
    open(offsetFile, bytes.substr(0, table), token, volume, folder.path());
    require(offsetFile.readOffsets(&offsets) && offsets.size() == table / sizeof(std::uint32_t));
    const auto now = System_FactoryAllocateDate();
    require(now->setToCurrentTime());
    FileSearch_ExpireFile expireFile;
    open(expireFile, rest, token, folder.path());
    bool isExpired = false;
    require(expireFile.isExpired(now.get(), isExpired) || !isExpired);
    readRecords(folder.path(), rest, offsets);
    readPage(folder.path());
}
