#include "storage/System_VxVMParser.h"

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

/// What reads knows its groups and answers all questions about them; what does not knows nothing.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    System_VxVMParser parser;
    const bool isRead = parser.parse(text.c_str());
    std::vector<std::string> types;
    std::vector<std::string> groups;
    parser.getTypes(&types);
    parser.getDiskGroups(&groups);
    if (isRead == groups.empty())
        std::abort();
    for (const std::string& type : types) {
        std::vector<std::string> columns;
        if (!isRead || !parser.getColumnsLookup(&columns, type.c_str()))
            std::abort();
        for (const std::string& column : columns) {
            std::vector<std::string> values;
            if (!parser.getValues(&values, type.c_str(), column.c_str(), nullptr) ||
                !parser.getDiskGroupsLookup(&values, type.c_str(), column.c_str(), text.c_str()))
                std::abort();
            parser.getValuesLookup(&values, type.c_str(), column.c_str(), "1", columns.front().c_str(),
                                   groups.front().c_str());
        }
    }
    return 0;
}
