#include "date/System_Date.h"
#include "target.h"

/// A date that reads must write, read back as itself and stand any arithmetic.
void fuzz(std::string_view input) {
    const std::string text(input);
    const auto date = System_FactoryAllocateDate();
    if (!date->parse(&text)) {
        require(date->isZeroTime());
        return;
    }
    std::string written;
    const auto again = System_FactoryAllocateDate();
    require(date->serialize(&written) && again->parse(&written) && *again == *date);
    date->subtractHours(static_cast<unsigned>(input.size()) * 100003U);
    date->addSeconds(4294967295U);
}
