#include "date/System_Date.h"

#include <cstdint>
#include <cstdlib>
#include <string>

/// A date that reads must write, read back as itself and stand any arithmetic.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    const auto date = System_FactoryAllocateDate();
    if (!date->parse(&text)) {
        if (!date->isZeroTime())
            std::abort();
        return 0;
    }
    std::string written;
    const auto again = System_FactoryAllocateDate();
    if (!date->serialize(&written) || !again->parse(&written) || *again != *date)
        std::abort();
    date->subtractHours(static_cast<unsigned>(size) * 100003U);
    date->addSeconds(4294967295U);
    return 0;
}
