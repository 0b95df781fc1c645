#pragma once

#include <optional>
#include <string_view>
#include <vector>

/// Cuts an action script at its marker lines. The first piece is the header scriptlet, between
/// "# BEGIN_JOB_SCRIPT_HEADER" and "# END_JOB_SCRIPT_HEADER"; behind it come the object scriptlets, each
/// between
/// "# BEGIN_OBJECT_SCRIPT" and "# END_OBJECT_SCRIPT". A piece starts with the rest of its begin marker's
/// line; text outside of markers is ignored, and so is an object scriptlet without an end. Nothing if there
/// is no header. The pieces point into `script`.
std::optional<std::vector<std::string_view>> AgentActions_SegmentScript(std::string_view script);
