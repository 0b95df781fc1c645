#include "methods/AgentRMI_MethodSetVerboseLog.h"

#include "config/AgentConfig_Globals.h"
#include "log/Debug_Printf.h"
#include "methods/AgentRMI_MethodSupport.h"
#include "xml/Xerces_Document.h"

#include <mutex>
#include <optional>
#include <string>
#include <strings.h>

namespace {

constexpr const char* logName = "QDVAgent.log";

/// Held while the log is looked at and switched, so that of two calls at once the second does not open it
/// again.
std::mutex switching;

bool isWord(const std::string& text, const char* word) {
    return strcasecmp(text.c_str(), word) == 0;
}

/// Whether the log is to be on.
bool readMode(const xercesc::DOMElement& method) {
    const auto parameters = Xerces_Descendants(method, "*", 2);
    if (parameters.empty())
        throw RMI_MethodException(RMI_MethodException::TooFewParameters);
    if (parameters.size() > 1)
        throw RMI_MethodException(RMI_MethodException::TooManyParameters);
    if (Xerces_TagName(*parameters.front()) != "VerboseMode")
        throw RMI_MethodException(RMI_MethodException::TooFewParameters);
    const std::optional<std::string> mode = Xerces_FirstText(*parameters.front());
    if (!mode)
        throw RMI_MethodException(RMI_MethodException::TooManyParameters);
    if (isWord(*mode, "on"))
        return true;
    if (isWord(*mode, "off"))
        return false;
    throw RMI_MethodException(RMI_MethodException::GeneralFailure);
}

void switchLog(bool on) {
    const std::lock_guard lock(switching);
    const bool enabled = gDebugPrintf.isEnabled();
    const int state = gDebugPrintf.getDebugState();
    if (enabled && state == Debug_Printf::StandardOutput)
        throw RMI_MethodException(RMI_MethodException::GeneralFailure);
    if (on && !enabled) {
        if (!gDebugPrintf.logfile_open((gPathToExec + "/" + logName).c_str()))
            throw RMI_MethodException(RMI_MethodException::GeneralFailure);
    } else if (!on && enabled && state == Debug_Printf::LogFile) {
        gDebugPrintf.logfile_close();
    }
}

} // namespace

void AgentRMI_MethodSetVerboseLog::invoke(xercesc::DOMElement* method, xercesc::DOMDocument*,
                                          xercesc::DOMElement*) {
    AgentRMI_Perform([&] { switchLog(readMode(*method)); });
}
