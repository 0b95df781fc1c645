#include "base/Agent_Version.h"

const char* const Agent_Version = QDV_VERSION;
const char* const Agent_BuildNumber = QDV_BUILD_NUMBER;
