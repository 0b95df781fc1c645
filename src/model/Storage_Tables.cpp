#include "model/Storage_Tables.h"

#include <cstring>
#include <strings.h>

const char* Storage_TableRow(std::span<const char* const> table, int value) {
    return value >= 0 && static_cast<std::size_t>(value) < table.size()
               ? table[static_cast<std::size_t>(value)]
               : "";
}

int Storage_FindTableRow(std::span<const char* const> rows, const std::string& text) {
    int index = 0;
    for (const char* row : rows) {
        if (strncasecmp(text.c_str(), row, std::strlen(row)) == 0)
            break;
        ++index;
    }
    return index;
}
