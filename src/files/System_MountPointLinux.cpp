#include "files/System_MountPointLinux.h"

#include "exec/ShellCommand_Quote.h"
#include "host/Host_Host.h"
#include "log/Debug_Printf.h"

#include <algorithm>
#include <cstdlib>

namespace {

constexpr const char* raidtab = "/etc/raidtab";
/// What a line of raidtab(5) is cut at.
constexpr std::size_t longestRaidLine = 255;
/// The list of physical volumes ends at a line that is no longer than this.
constexpr std::size_t emptyLine = 1;

/// Takes the next line from the front of a text; nothing behind the last one.
std::optional<std::string_view> takeLine(std::string_view& text) {
    if (text.empty())
        return std::nullopt;
    const std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(line.size() + 1, text.size()));
    return line;
}

/// The text from the first slash behind a word on, if the line has both.
std::optional<std::string_view> pathBehind(std::string_view line, std::string_view word) {
    const std::size_t at = line.find(word);
    const std::size_t slash = at != std::string_view::npos ? line.find('/', at + word.size()) : at;
    return slash != std::string_view::npos ? std::optional(line.substr(slash)) : std::nullopt;
}

bool has(std::string_view line, std::string_view word) {
    return line.find(word) != std::string_view::npos;
}

} // namespace

bool System_MountPointLinux::evaluateRaid() {
    if (!isRaid_)
        isRaid_ = readRaidtab(host_.readFile(raidtab).valueOr({}));
    return *isRaid_;
}

bool System_MountPointLinux::readRaidtab(std::string_view text) {
    bool isOwn = false;
    bool isFound = false;
    while (const std::optional<std::string_view> whole = takeLine(text)) {
        const std::string_view line = whole->substr(0, longestRaidLine);
        if (has(line, "raiddev")) {
            isOwn = pathBehind(line, "raiddev") == std::string_view(device);
            isFound = isFound || isOwn;
        } else if (isOwn && has(line, "raid-level")) {
            const std::size_t tab = line.find('\t', 1);
            if (tab != std::string_view::npos)
                raidLevel_ =
                    static_cast<int>(std::strtol(std::string(line.substr(tab)).c_str(), nullptr, 10));
        } else if (isOwn && has(line, "device")) {
            if (const auto member = pathBehind(line, "device"))
                devices_.emplace_back(*member);
        }
    }
    return isFound;
}

bool System_MountPointLinux::evaluateLVM() {
    if (evaluatedLVM_)
        return *evaluatedLVM_;
    evaluatedLVM_ = false;
    // Anybody may mount something under a name that would be an option.
    if (device.empty() || device.front() == '-' || device.find('\0') != std::string::npos)
        return false;
    const Host_Answer<std::string> output = host_.run("lvdisplay -v " + ShellCommand_Quote(device));
    if (!output)
        DEBUG_LOG("System_MountPointLinux::evaluateLVM - lvdisplay command failed\n");
    else
        evaluatedLVM_ = readVolume(*output);
    return *evaluatedLVM_;
}

bool System_MountPointLinux::readVolume(std::string_view text) {
    std::optional<std::string_view> line = takeLine(text);
    if (!line)
        return false;
    if (line->starts_with("lvdisplay --")) {
        DEBUG_LOG("System_MountPointLinux::evaluateLVM - Invalid Logical volume name: %s\n", device.c_str());
        return false;
    }
    isLVM_ = true;
    while (line && !has(*line, "PV Name"))
        line = takeLine(text);
    while ((line = takeLine(text)) && line->size() > emptyLine) {
        const std::size_t start = std::min(line->find_first_not_of(" \t"), line->size());
        const std::string_view word = line->substr(start);
        devices_.emplace_back(word.substr(0, word.find_first_of(" \t")));
    }
    return true;
}

bool System_MountPointLinux::checkLVMDevices(const std::string& member) {
    return isLVM() && std::any_of(devices_.begin(), devices_.end(),
                                  [&](const std::string& each) { return each.starts_with(member); });
}

int System_MountPointLinux::raidLevel() {
    evaluateRaid();
    return raidLevel_;
}

bool System_MountPointLinux::isLVM() {
    evaluateLVM();
    return isLVM_;
}

const std::vector<std::string>& System_MountPointLinux::devices() {
    evaluateRaid();
    evaluateLVM();
    return devices_;
}
