#include "storage/System_VxVMParser.h"
#include "target.h"

#include <vector>

/// What reads knows its groups and answers all questions about them; what does not knows nothing.
void fuzz(std::string_view input) {
    const std::string text(input);
    System_VxVMParser parser;
    const bool isRead = parser.parse(text.c_str());
    std::vector<std::string> types;
    std::vector<std::string> groups;
    parser.getTypes(&types);
    parser.getDiskGroups(&groups);
    require(isRead != groups.empty());
    for (const std::string& type : types) {
        std::vector<std::string> columns;
        require(isRead && parser.getColumnsLookup(&columns, type.c_str()));
        for (const std::string& column : columns) {
            std::vector<std::string> values;
            require(parser.getValues(&values, type.c_str(), column.c_str(), nullptr) &&
                    parser.getDiskGroupsLookup(&values, type.c_str(), column.c_str(), text.c_str()));
            parser.getValuesLookup(&values, type.c_str(), column.c_str(), "1", columns.front().c_str(),
                                   groups.front().c_str());
        }
    }
}
