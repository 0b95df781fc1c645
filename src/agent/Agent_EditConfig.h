#pragma once

/// Holds the dialog on standard input and output that makes or changes agent.conf, instead of an agent. Call
/// it before any thread runs. True if the process is to end with status 0: the file is as the administrator
/// wants it.
bool Agent_EditConfig();
