/// A record of a search's file: what is stored comes back, and damaged bytes are read to no harm.

#include "search/FileSearch_Record.h"
#include "target.h"

void fuzz(std::string_view input) {
    const std::string text(input);
    std::string stored;
    FileSearch_AppendRecord(stored, text);
    std::uint32_t length = 0;
    require(stored.size() == FileSearch_RecordLength(text) && FileSearch_ReadRecordHead(stored, length) &&
            length == stored.size() - FileSearch_RecordHead &&
            FileSearch_ReadRecordData(stored.substr(FileSearch_RecordHead)) == text);
    FileSearch_ReadRecordHead(text, length);
    FileSearch_ReadRecordData(text);
}
