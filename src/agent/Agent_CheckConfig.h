#pragma once

/// Reads agent.conf as the agent does at its start and says on standard error what is wrong with it. The
/// result is the exit status: 0, or EX_CONFIG of <sysexits.h>. Not 1, with which an agent also ends whose
/// clients held it up, so that a service unit may take that for a clean stop.
int Agent_CheckConfig();
