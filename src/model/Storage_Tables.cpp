#include "model/Storage_Tables.h"

#include <cstring>
#include <strings.h>

const char* Storage_TableRow(std::span<const char* const> table, int value) {
    return value >= 0 && static_cast<std::size_t>(value) < table.size()
               ? table[static_cast<std::size_t>(value)]
               : "";
}

int Storage_FindTableRow(std::span<const char* const> table, const std::string& text) {
    const int last = static_cast<int>(table.size()) - 1;
    for (int index = 0; index < last; ++index) {
        const char* row = table[static_cast<std::size_t>(index)];
        if (strncasecmp(text.c_str(), row, std::strlen(row)) == 0)
            return index;
    }
    return last;
}
