#include "host/Host_RecordedHost.h"

#include <algorithm>
#include <cerrno>

namespace {

/// What is said of a question that the record does not know.
constexpr int unknownCommand = EIO;
constexpr int unknownPath = ENOENT;
constexpr int unknownFact = ENOSYS;
constexpr int unknownOfDevice = ENOTTY;

Host_Answer<std::string> filledUp(Host_Answer<std::string> bytes, std::size_t length) {
    if (bytes)
        bytes->resize(length, '\0');
    return bytes;
}

} // namespace

template <typename Value>
Host_Answer<Value> Host_RecordedHost::answerTo(Host_Words question, int otherwise) {
    const auto found = record_.answers.find(question);
    if (found == record_.answers.end()) {
        noteUnanswered(std::move(question));
        return Host_Answer<Value>::failure(otherwise);
    }
    if (!found->second)
        return Host_Answer<Value>::failure(found->second.error());
    Value value{};
    return Host_FromWords(*found->second, value) ? Host_Answer<Value>(std::move(value))
                                                 : Host_Answer<Value>::failure(EINVAL);
}

void Host_RecordedHost::noteUnanswered(Host_Words question) {
    const std::lock_guard lock(mutex_);
    unanswered_.push_back(std::move(question));
}

std::vector<Host_Words> Host_RecordedHost::unanswered() const {
    const std::lock_guard lock(mutex_);
    return unanswered_;
}

/// What is recorded of the contents is a picture with holes, which reads put together again.
class Host_RecordedHost::Device : public Host_Device {
public:
    Device(Host_RecordedHost& host, std::string path) : host_(host), path_(std::move(path)) {}

    Host_Answer<Host_ScsiAddress> scsiAddress() override { return say<Host_ScsiAddress>("scsi"); }
    Host_Answer<std::string> inquiry() override {
        return filledUp(say<std::string>("inquiry"), inquiryLength);
    }
    Host_Answer<std::string> identity() override {
        return filledUp(say<std::string>("identity"), identityLength);
    }
    Host_Answer<std::string> read(std::uint64_t offset, std::size_t length) override;

private:
    struct Piece {
        std::uint64_t offset = 0;
        std::uint64_t length = 0;
        const Host_Answer<Host_Words>* bytes = nullptr;
    };

    template <typename Value>
    Host_Answer<Value> say(const char* what) {
        return host_.answerTo<Value>({"device", path_, what}, unknownOfDevice);
    }
    std::vector<Piece> pieces() const;

    Host_RecordedHost& host_;
    const std::string path_;
};

/// Those further back lie on top.
std::vector<Host_RecordedHost::Device::Piece> Host_RecordedHost::Device::pieces() const {
    std::vector<Piece> found;
    const Host_Words first = {"device", path_, "bytes"};
    const auto& answers = host_.record_.answers;
    for (auto at = answers.lower_bound(first); at != answers.end(); ++at) {
        const Host_Words& question = at->first;
        if (question.size() <= first.size() || !std::equal(first.begin(), first.end(), question.begin()))
            break;
        Piece piece{0, 0, &at->second};
        if (Host_FromWords({question[3]}, piece.offset) && Host_FromWords({question[4]}, piece.length))
            found.push_back(piece);
    }
    std::sort(found.begin(), found.end(),
              [](const Piece& one, const Piece& other) { return one.offset < other.offset; });
    return found;
}

Host_Answer<std::string> Host_RecordedHost::Device::read(std::uint64_t offset, std::size_t length) {
    const Host_Words end = {"device", path_, "end"};
    if (host_.record_.answers.contains(end)) {
        const std::uint64_t size = say<std::uint64_t>("end").valueOr(0);
        length = std::min<std::uint64_t>(length, size - std::min(size, offset));
    }
    std::string contents(length, '\0');
    std::vector<bool> known(length, false);
    for (const Piece& piece : pieces()) {
        const std::uint64_t from = std::max(offset, piece.offset);
        const std::uint64_t to = std::min(offset + length, piece.offset + piece.length);
        if (from >= to)
            continue;
        if (!*piece.bytes)
            return Host_Answer<std::string>::failure(piece.bytes->error());
        const std::string& bytes = (*piece.bytes)->front();
        for (std::uint64_t at = from; at < to; ++at) {
            const std::uint64_t inPiece = at - piece.offset;
            contents[at - offset] = inPiece < bytes.size() ? bytes[inPiece] : '\0';
            known[at - offset] = true;
        }
    }
    if (std::find(known.begin(), known.end(), false) != known.end())
        host_.noteUnanswered({"device", path_, "bytes", std::to_string(offset), std::to_string(length)});
    return contents;
}

Host_Answer<std::string> Host_RecordedHost::runWithin(const std::string& command, const Host_Limits& limits) {
    if (limits.stop.stop_requested())
        return Host_Answer<std::string>::failure(ECANCELED);
    return answerTo<std::string>({"command", command}, unknownCommand);
}

Host_Answer<std::string> Host_RecordedHost::readFile(const std::string& path) {
    return answerTo<std::string>({"file", path}, unknownPath);
}

Host_Answer<std::vector<std::string>> Host_RecordedHost::listFolder(const std::string& path) {
    return answerTo<std::vector<std::string>>({"folder", path}, unknownPath);
}

Host_Answer<std::string> Host_RecordedHost::readLink(const std::string& path) {
    return answerTo<std::string>({"link", path}, unknownPath);
}

Host_Answer<Host_Node> Host_RecordedHost::node(const std::string& path) {
    return answerTo<Host_Node>({"node", path}, unknownPath);
}

Host_Answer<Host_FileSystem> Host_RecordedHost::fileSystem(const std::string& mountPoint) {
    return answerTo<Host_FileSystem>({"filesystem", mountPoint}, unknownPath);
}

/// A device that is said anything about can be opened, unless it is said that it cannot.
Host_Answer<std::unique_ptr<Host_Device>> Host_RecordedHost::openDevice(const std::string& path) {
    using Opened = std::unique_ptr<Host_Device>;
    const Host_Words question = {"device", path};
    const auto first = record_.answers.lower_bound(question);
    const bool known = first != record_.answers.end() && first->first.size() >= question.size() &&
                       std::equal(question.begin(), question.end(), first->first.begin());
    if (!known) {
        noteUnanswered(question);
        return Host_Answer<Opened>::failure(unknownPath);
    }
    if (first->first == question && !first->second)
        return Host_Answer<Opened>::failure(first->second.error());
    return Opened(std::make_unique<Device>(*this, path));
}

Host_Answer<std::string> Host_RecordedHost::hostName() {
    return answerTo<std::string>({"host", "name"}, unknownFact);
}

Host_Answer<std::string> Host_RecordedHost::domainName() {
    return answerTo<std::string>({"host", "domain"}, unknownFact);
}

Host_Answer<int> Host_RecordedHost::gmtOffset() {
    return answerTo<int>({"host", "gmt-offset"}, unknownFact);
}

Host_Answer<bool> Host_RecordedHost::daylightSaving() {
    return answerTo<bool>({"host", "daylight"}, unknownFact);
}
