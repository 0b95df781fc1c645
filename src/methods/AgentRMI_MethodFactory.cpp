#include "methods/AgentRMI_MethodFactory.h"

#include "log/Debug_Printf.h"
#include "methods/AgentRMI_MethodActions.h"
#include "methods/AgentRMI_MethodAudits.h"
#include "methods/AgentRMI_MethodFiles.h"
#include "methods/AgentRMI_MethodPing.h"
#include "methods/AgentRMI_MethodSearch.h"
#include "methods/AgentRMI_MethodSetCallServerWithSSL.h"
#include "methods/AgentRMI_MethodSetVerboseLog.h"
#include "storage/Storage_Levels.h"

#include <string_view>

namespace {

template <typename Method>
std::unique_ptr<RMI_Method> make(const AgentRMI_MethodRules& rules, const char* guid) {
    return std::make_unique<Method>(rules, guid);
}

struct Row {
    AgentRMI_MethodRules rules;
    std::unique_ptr<RMI_Method> (*make)(const AgentRMI_MethodRules& rules, const char* guid);
};

using enum AgentRMI_Identity;
using enum AgentRMI_Protocols;
using enum AgentRMI_UserAuthentication;

/// One method for each level of the storage stack stands beside these.
constexpr Row methods[] = {
    {{"Ping", NotNeeded, PlainAndSSL, No}, make<AgentRMI_MethodPing>},
    {{"PingServer", NotNeeded, PlainAndSSL, No}, make<AgentRMI_MethodPingServer>},
    {{"SetVerboseLog", Required, PlainAndSSL, No}, make<AgentRMI_MethodSetVerboseLog>},
    {{"GetHostSummary", Required, PlainAndSSL, No}, make<AgentRMI_MethodGetHostSummary>},
    {{"GetStorageSystem", Required, PlainAndSSL, No}, make<AgentRMI_MethodGetStorageSystem>},
    {{"GetFSOs", Required, PlainAndSSL, No}, make<AgentRMI_MethodGetFSOs>},
    {{"GetFSOBatchStats", Required, PlainAndSSL, No}, make<AgentRMI_MethodGetFSOBatchStats>},
    {{"SearchFSOs", Required, PlainAndSSL, No}, make<AgentRMI_MethodSearchFSOs>},
    {{"GetFSOSearchResults", Required, PlainAndSSL, No}, make<AgentRMI_MethodGetFSOSearchResults>},
    {{"DeleteSearches", Required, PlainAndSSL, No}, make<AgentRMI_MethodDeleteSearches>},
    {{"SubmitAction", Required, SSLOnly, Yes}, make<AgentRMI_MethodSubmitAction>},
    {{"SaveAction", Required, SSLOnly, No}, make<AgentRMI_MethodSaveAction>},
    {{"GetActionScriptList", Required, SSLOnly, Yes}, make<AgentRMI_MethodGetActionScriptList>},
    {{"SetCallServerWithSSL", Required, SSLOnly, No}, make<AgentRMI_MethodSetCallServerWithSSL>},
};

AgentRMI_MethodRules rulesOf(const Storage_Level& level) {
    return {level.method, Required, PlainAndSSL, No};
}

} // namespace

std::unique_ptr<RMI_Method> AgentRMI_MethodFactory::createMethod(const char* name, const char* guid) {
    DEBUG_LOG("methodName == [%s]\n", name);
    for (const Row& row : methods) {
        if (std::string_view(row.rules.name) == name)
            return row.make(row.rules, guid);
    }
    for (const Storage_Level& level : Storage_Levels) {
        if (std::string_view(level.method) == name)
            return std::make_unique<AgentRMI_MethodGetLevel>(rulesOf(level), guid, level);
    }
    return nullptr;
}
