#pragma once

/// What the command line asked for. Set once by Agent_ParseCommandLine, before any thread runs.
extern bool gVersion;
extern bool gEditConfig;
extern bool gCheckConfig;
extern bool gDisplayHelp;
extern bool gDisplayHelpUnrecognized;
extern bool gDeleteConfig;

/// Reads the flags from index 1 on. They combine, and their order does not matter; only -verbose acts at
/// once, so that what follows is logged already. Always true.
bool Agent_ParseCommandLine(int argc, char* argv[]);

/// Prints the usage to standard output.
void Agent_DisplayHelp(bool unrecognized);
/// Prints version and build number to standard output.
void Agent_DisplayVersion();
