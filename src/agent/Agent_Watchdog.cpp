#include "agent/Agent_Watchdog.h"

#include "log/Debug_Printf.h"
#include "net/Socket_Address.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <iterator>
#include <limits>
#include <poll.h>
#include <string_view>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <system_error>

namespace {

constexpr std::string_view probe = "GET / HTTP/1.0\r\n\r\n";
constexpr std::string_view replyBegins = "HTTP/1.";

} // namespace

Agent_Watchdog::Agent_Watchdog(const Agent_ServiceManager& manager, const HTTP_AddressPortPair& listening)
    : manager_(manager), ending_(eventfd(0, EFD_CLOEXEC)) {
    if (!ending_)
        throw std::system_error(errno, std::generic_category());
    listening_.sin_family = AF_INET;
    listening_.sin_port = htons(static_cast<std::uint16_t>(listening.getPort()));
    // 0.0.0.0 is this host as an address to connect to, as well.
    listening_.sin_addr = Socket_ResolveAddress(listening.address().c_str()).value_or(in_addr{});
    thread_ = std::thread([this] { run(); });
}

Agent_Watchdog::~Agent_Watchdog() {
    eventfd_write(ending_.get(), 1);
    thread_.join();
}

void Agent_Watchdog::run() {
    const auto interval = manager_.watchdogLimit() / 2;
    Clock::time_point next;
    do {
        next = Clock::now() + interval;
        if (portAnswers(next))
            manager_.tell("WATCHDOG=1");
        else if (wait(File_Descriptor::None, 0, Clock::now()) != Wake::Ending)
            DEBUG_LOG("Agent: its own port does not answer\n");
    } while (wait(File_Descriptor::None, 0, next) != Wake::Ending);
}

bool Agent_Watchdog::portAnswers(Clock::time_point until) const {
    if (listening_.sin_port == 0)
        return true;
    const File_Descriptor connection(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const auto* address = reinterpret_cast<const sockaddr*>(&listening_);
    if (connect(connection.get(), address, sizeof listening_) != 0 && errno != EINPROGRESS)
        return false;
    if (wait(connection.get(), POLLOUT, until) != Wake::Ready ||
        send(connection.get(), probe.data(), probe.size(), MSG_NOSIGNAL) !=
            static_cast<ssize_t>(probe.size()))
        return false;
    std::array<char, replyBegins.size()> reply{};
    return wait(connection.get(), POLLIN, until) == Wake::Ready &&
           recv(connection.get(), reply.data(), reply.size(), 0) == static_cast<ssize_t>(reply.size()) &&
           std::equal(reply.begin(), reply.end(), replyBegins.begin());
}

/// poll(2) passes over a descriptor that is none.
Agent_Watchdog::Wake Agent_Watchdog::wait(int descriptor, short events, Clock::time_point until) const {
    pollfd watched[]{{ending_.get(), POLLIN, 0}, {descriptor, events, 0}};
    int ready = 0;
    do {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - Clock::now()).count();
        const auto limit = std::clamp<decltype(left)>(left, 0, std::numeric_limits<int>::max());
        ready = poll(watched, std::size(watched), static_cast<int>(limit));
    } while (ready < 0 && errno == EINTR);
    if (watched[0].revents != 0)
        return Wake::Ending;
    return ready > 0 ? Wake::Ready : Wake::TimeUp;
}
