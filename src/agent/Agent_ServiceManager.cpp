#include "agent/Agent_ServiceManager.h"

#include "base/File_Descriptor.h"
#include "base/String_Functions.h"
#include "log/Debug_Printf.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdlib>
#include <string>
#include <sys/time.h>
#include <unistd.h>

namespace {

/// A manager that reads nothing must not hold the agent.
constexpr timeval timeToTell{2, 0};

/// Signs of life more often than asked for do no harm, and no arithmetic overflows.
constexpr std::chrono::microseconds longestWatchdogLimit = std::chrono::hours(1);

// The environment is read and changed before other threads run.
// NOLINTBEGIN(concurrency-mt-unsafe)
std::string takeVariable(const char* name) {
    const char* value = getenv(name);
    std::string taken = value == nullptr ? "" : value;
    unsetenv(name);
    return taken;
}
// NOLINTEND(concurrency-mt-unsafe)

/// 0 for what is no number.
long numberOf(const std::string& text) {
    long number = 0;
    const char* end = text.data() + text.size();
    const auto [stopped, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stopped == end ? std::max(number, 0L) : 0;
}

/// The address of a socket named by its path, or by "@" and a name that stands in no file system. 0 if the
/// name is neither.
socklen_t makeAddress(std::string name, sockaddr_un& address) {
    if (name.size() < 2 || name.size() >= sizeof(address.sun_path) || (name[0] != '/' && name[0] != '@'))
        return 0;
    if (name[0] == '@')
        name[0] = '\0';
    address.sun_family = AF_UNIX;
    std::copy(name.begin(), name.end(), address.sun_path);
    return static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
}

} // namespace

Agent_ServiceManager::Agent_ServiceManager() {
    addressLength_ = makeAddress(takeVariable("NOTIFY_SOCKET"), address_);
    const long limit = numberOf(takeVariable("WATCHDOG_USEC"));
    const std::string process = takeVariable("WATCHDOG_PID");
    // The watchdog may have been meant for whoever started the agent.
    if (addressLength_ != 0 && (process.empty() || process == std::to_string(getpid())))
        watchdogLimit_ = std::min(std::chrono::microseconds(limit), longestWatchdogLimit);
}

void Agent_ServiceManager::tell(std::string_view assignments) const {
    if (addressLength_ == 0)
        return;
    const File_Descriptor socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    setsockopt(socket.get(), SOL_SOCKET, SO_SNDTIMEO, &timeToTell, sizeof timeToTell);
    if (sendto(socket.get(), assignments.data(), assignments.size(), MSG_NOSIGNAL,
               reinterpret_cast<const sockaddr*>(&address_), addressLength_) < 0)
        DEBUG_LOG("Agent: cannot tell the service manager: %s\n", nxGetLastErrorMessage().c_str());
}
