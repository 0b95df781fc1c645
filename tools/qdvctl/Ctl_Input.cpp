#include "qdvctl/Ctl_Input.h"

#include "base/File_Descriptor.h"
#include "base/File_Operations.h"
#include "qdvctl/Ctl_Failure.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace {

constexpr std::size_t firstBlock = 4096;
constexpr std::size_t largestInput = std::size_t{256} << 20;

/// Whoever handed the descriptor down may have left it non-blocking.
void waitFor(int descriptor) {
    pollfd event{descriptor, POLLIN, 0};
    while (poll(&event, 1, -1) < 0 && errno == EINTR) {
    }
}

bool readToEnd(int descriptor, std::string& contents) {
    std::size_t used = 0;
    for (;;) {
        // One byte beyond the limit tells a text of just that size from a larger one.
        contents.resize(std::min(std::max(used * 2, firstBlock), largestInput + 1));
        waitFor(descriptor);
        std::size_t count = 0;
        if (!File_Read(descriptor, contents.data() + used, contents.size() - used, count)) {
            if (errno == EAGAIN)
                continue;
            return false;
        }
        used += count;
        if (used > largestInput) {
            errno = EFBIG;
            return false;
        }
        if (count == 0) {
            contents.resize(used);
            return true;
        }
    }
}

} // namespace

std::string Ctl_ReadInput(const std::string& what, const std::string& file) {
    const bool isInherited = file == Ctl_StandardInput || file == "/dev/stdin";
    File_Descriptor opened;
    if (!isInherited)
        opened.reset(open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY));
    const int descriptor = isInherited ? STDIN_FILENO : opened.get();
    std::string contents;
    if (descriptor == File_Descriptor::None || !readToEnd(descriptor, contents))
        throw Ctl_Failure(Ctl_WrongUsage, what + ": " + std::strerror(errno));
    return contents;
}
