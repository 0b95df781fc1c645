#pragma once

#include "qdvctl/Ctl_Command.h"

class Host_Host;
class Host_RecordingHost;

/// Asks the host all that the audits ask, for every device, volume and mount that it has, so that the record
/// of the answers can stand in for it.
void Ctl_AskAll(Host_RecordingHost& host);

/// Adds "capture" to the subcommand for the host.
void Ctl_AddHostCapture(CLI::App& hostCommand, Ctl_Action& chosen);
