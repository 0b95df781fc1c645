/// A record of a search's file: what is stored comes back, and damaged bytes are read to no harm.

#include "search/FileSearch_Record.h"

#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    std::string stored;
    FileSearch_AppendRecord(stored, text);
    std::uint32_t length = 0;
    if (stored.size() != FileSearch_RecordLength(text) || !FileSearch_ReadRecordHead(stored, length) ||
        length != stored.size() - FileSearch_RecordHead ||
        FileSearch_ReadRecordData(stored.substr(FileSearch_RecordHead)) != text)
        std::abort();
    FileSearch_ReadRecordHead(text, length);
    FileSearch_ReadRecordData(text);
    return 0;
}
