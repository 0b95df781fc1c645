#include "qdvctl/Ctl_ConfigFiles.h"

#include "base/File_Operations.h"
#include "base/Secret_Text.h"
#include "config/AgentConfig_Configuration.h"
#include "config/AgentConfig_Guid.h"
#include "config/Config_File.h"
#include "net/HTTP_AddressPortPair.h"
#include "xml/Xerces_Document.h"

#include <filesystem>
#include <memory>
#include <set>
#include <string_view>
#include <sys/stat.h>
#include <utility>

namespace {

constexpr unsigned recommendedReturnPorts = 10;
constexpr const char* agentConf = "agent.conf";
constexpr const char* uuidConf = "uuid.conf";
constexpr const char* passwordAttribute = "password";
constexpr const char* shownPassword = "(set)";

void warnOfPort(std::vector<std::string>& warnings, const std::string& what, unsigned port) {
    if (!HTTP_IsPort(port))
        warnings.push_back(what + " is " + std::to_string(port) +
                           ", which is no port: 1 to 65535 is expected");
}

void warnOfReturnPorts(std::vector<std::string>& warnings, unsigned lowest, unsigned highest) {
    if (lowest == 0)
        return;
    if (lowest > highest || highest > HTTP_HighestPort)
        warnings.push_back("AgentInfo: returnPortMin " + std::to_string(lowest) + " to returnPortMax " +
                           std::to_string(highest) +
                           " is no range of ports: the agent cannot call its server");
    else if (highest - lowest + 1 < recommendedReturnPorts)
        warnings.push_back("AgentInfo: returnPortMin to returnPortMax holds fewer than the recommended " +
                           std::to_string(recommendedReturnPorts) + " ports: calls side by side may fail");
}

void warnOfBindList(std::vector<std::string>& warnings, const std::vector<HTTP_AddressPortPair*>& pairs) {
    if (pairs.empty())
        warnings.emplace_back("BindList is empty: the agent listens nowhere");
    std::set<std::pair<std::string, int>> seen;
    for (const HTTP_AddressPortPair* pair : pairs) {
        const std::string& address = pair->address();
        const std::string name = address + " port " + std::to_string(pair->getPort());
        warnOfPort(warnings, "Bind: port of " + address, static_cast<unsigned>(pair->getPort()));
        if (!seen.emplace(address, pair->getPort()).second)
            warnings.push_back("Bind: " + name + " is there twice: the agent cannot start");
    }
}

void warnOfReaders(std::vector<std::string>& warnings, const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) == 0 && (status.st_mode & S_IROTH) != 0)
        warnings.emplace_back("every user of this host can read the proxy password in it");
}

/// Never shows what the password is, only whether there is one.
void hidePassword(Ctl_Node& node) {
    for (auto& [name, value] : node.attributes)
        if (name == passwordAttribute && !value.empty()) {
            Secret_Text::take(std::move(value)); // wipes it
            value = shownPassword;
        }
    for (Ctl_Node& child : node.children)
        hidePassword(child);
}

/// What the agent would write is what it uses.
Ctl_Node usedValues(Config_Configuration& configuration) {
    char* text = nullptr;
    unsigned length = 0;
    const bool written = configuration.serialize(text, length);
    const Secret_Text secret = Secret_Text::take(std::unique_ptr<char[]>(text), length);
    if (!written)
        return {};
    const Xerces_DocumentPtr document = Xerces_Parse(secret.view(), "configuration");
    if (!document)
        return {};
    Ctl_Node node = Ctl_ReadElement(*Xerces_Root(*document));
    hidePassword(node);
    return node;
}

/// The file is named beside the reason already.
std::string withoutPrefix(const std::string& text, const std::string& prefix) {
    return text.starts_with(prefix) ? text.substr(prefix.size()) : text;
}

template <class T>
Ctl_ConfigFile readFile(Config_File<T>& file, const std::string& directory, const std::string& name) {
    file.setPathname(directory);
    file.setFilename(name);
    Ctl_ConfigFile found;
    found.path = file.getFilePathname();
    if (!File_Exists(found.path.c_str())) {
        found.state = Ctl_ConfigFile::Absent;
        return found;
    }
    if (!file.readFile()) {
        found.state = Ctl_ConfigFile::Faulty;
        found.reason = withoutPrefix(file.lastError(), name + ": ");
        return found;
    }
    found.content = usedValues(*file.getConfig());
    return found;
}

Ctl_ConfigFile readAgentConf(const std::string& directory, const std::string& name) {
    Config_File<AgentConfig_Configuration> file;
    Ctl_ConfigFile found = readFile(file, directory, name);
    found.required = true;
    if (found.state != Ctl_ConfigFile::Good)
        return found;
    found.warnings = Ctl_ConfigWarnings(*file.getConfig());
    if (!file.getConfig()->getPassword().empty())
        warnOfReaders(found.warnings, found.path);
    return found;
}

Ctl_ConfigFile readUuidConf(const std::string& directory, const std::string& name) {
    Config_File<AgentConfig_Guid> file;
    return readFile(file, directory, name);
}

} // namespace

std::vector<std::string> Ctl_ConfigWarnings(const AgentConfig_Configuration& configuration) {
    std::vector<std::string> warnings;
    warnOfPort(warnings, "ServerInfo: port", configuration.getServerPort());
    warnOfPort(warnings, "ServerInfo: sslPort", configuration.getServerSSLPort());
    if (!configuration.getProxyHostname().empty() && !HTTP_IsPort(configuration.getProxyPort()))
        warnings.emplace_back("ServerInfo: proxyHostname without a usable proxyPort: the proxy is not used");
    warnOfReturnPorts(warnings, configuration.getReturnPortMin(), configuration.getReturnPortMax());
    warnOfBindList(warnings, configuration.getBindList());
    return warnings;
}

std::vector<Ctl_ConfigFile> Ctl_ReadConfigFiles(const std::string& directory) {
    std::vector<Ctl_ConfigFile> files;
    files.push_back(readAgentConf(directory, agentConf));
    files.push_back(readUuidConf(directory, uuidConf));
    return files;
}

Ctl_ConfigFile Ctl_ReadConfigFile(const std::string& file) {
    const std::filesystem::path path(file);
    const std::string directory = path.has_parent_path() ? path.parent_path().string() : ".";
    const std::string name = path.filename().string();
    return name.starts_with("uuid") ? readUuidConf(directory, name) : readAgentConf(directory, name);
}
