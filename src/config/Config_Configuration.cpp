#include "config/Config_Configuration.h"

bool Config_Configuration::parse(xercesc::InputSource& /*source*/) {
    return true;
}

bool Config_Configuration::serialize(char*& buffer, unsigned& length) {
    buffer = nullptr;
    length = 0;
    return true;
}
