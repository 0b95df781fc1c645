#pragma once

/// What this is a version of, as the build has it; one place for all who tell it.
extern const char* const Agent_Version;
extern const char* const Agent_BuildNumber;
