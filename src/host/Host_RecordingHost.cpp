#include "host/Host_RecordingHost.h"

#include <algorithm>
#include <cctype>
#include <string_view>

namespace {

constexpr std::string_view replacement = "HIDDEN";
/// What ends a value in lists of options, shell words and tables.
constexpr std::string_view valueEnds = " \t\r\n,;\"'\\&<>";
constexpr std::string_view addressEnds = " \t\r\n,;\"'/@";
/// Small letters. A name that ends with one of them counts as well.
constexpr std::string_view secretNames[] = {"password", "passwd", "passphrase", "pass",
                                            "secret",   "token",  "credential", "key"};

bool isNamePart(char character) {
    return std::isalnum(static_cast<unsigned char>(character)) != 0 || character == '_' || character == '-';
}

bool endsWithSecretName(std::string_view text) {
    std::size_t start = text.size();
    while (start > 0 && isNamePart(text[start - 1]))
        --start;
    std::string name(text.substr(start));
    std::transform(name.begin(), name.end(), name.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    return std::any_of(std::begin(secretNames), std::end(secretNames),
                       [&](std::string_view secret) { return name.ends_with(secret); });
}

void hideOptions(std::string& text) {
    for (std::size_t at = text.find('='); at != std::string::npos; at = text.find('=', at + 1)) {
        if (!endsWithSecretName(std::string_view(text).substr(0, at)))
            continue;
        std::size_t start = at + 1;
        std::string ends(valueEnds);
        if (start < text.size() && (text[start] == '"' || text[start] == '\''))
            ends = text[start++];
        if (const std::size_t end = std::min(text.find_first_of(ends, start), text.size()); end > start)
            text.replace(start, end - start, replacement);
    }
}

void hideInAddresses(std::string& text) {
    for (std::size_t at = text.find("//"); at != std::string::npos; at = text.find("//", at + 1)) {
        const std::size_t start = at + 2;
        const std::size_t end = text.find_first_of(addressEnds, start);
        if (end == std::string::npos || text[end] != '@')
            continue;
        if (const std::size_t colon = text.find(':', start); colon < end)
            text.replace(colon + 1, end - colon - 1, replacement);
    }
}

Host_Answer<std::string> withoutTrailingZeros(Host_Answer<std::string> bytes) {
    if (bytes)
        bytes->erase(bytes->find_last_not_of('\0') + 1);
    return bytes;
}

} // namespace

std::string Host_WithoutSecrets(std::string text) {
    hideOptions(text);
    hideInAddresses(text);
    return text;
}

Host_Record Host_RecordingHost::record() const {
    const std::lock_guard lock(mutex_);
    return record_;
}

void Host_RecordingHost::keep(const Host_Words& question, const Host_Answer<Host_Words>& answer) {
    const std::lock_guard lock(mutex_);
    record_.answers.try_emplace(question, answer);
}

template <typename Value>
Host_Answer<Value> Host_RecordingHost::note(const Host_Words& question, Host_Answer<Value> answer) {
    keep(question, answer ? Host_ToWords(*answer) : Host_Answer<Host_Words>::failure(answer.error()));
    return answer;
}

Host_Answer<std::string> Host_RecordingHost::noteText(const Host_Words& question,
                                                      Host_Answer<std::string> answer) {
    note(question, answer ? Host_Answer(Host_WithoutSecrets(*answer)) : answer);
    return answer;
}

class Host_RecordingHost::Device : public Host_Device {
public:
    Device(Host_RecordingHost& host, std::string path, std::unique_ptr<Host_Device> device)
        : host_(host), path_(std::move(path)), device_(std::move(device)) {}

    Host_Answer<Host_ScsiAddress> scsiAddress() override {
        return host_.note({"device", path_, "scsi"}, device_->scsiAddress());
    }
    Host_Answer<std::string> inquiry() override { return noteReply("inquiry", device_->inquiry()); }
    Host_Answer<std::string> identity() override { return noteReply("identity", device_->identity()); }

    Host_Answer<std::string> read(std::uint64_t offset, std::size_t length) override {
        Host_Answer<std::string> contents = device_->read(offset, length);
        if (contents && contents->size() < length) {
            length = contents->size();
            host_.keep({"device", path_, "end"}, Host_ToWords(offset + length));
        }
        host_.note({"device", path_, "bytes", std::to_string(offset), std::to_string(length)},
                   withoutTrailingZeros(contents));
        return contents;
    }

private:
    Host_Answer<std::string> noteReply(const char* what, Host_Answer<std::string> reply) {
        host_.note({"device", path_, what}, withoutTrailingZeros(reply));
        return reply;
    }

    Host_RecordingHost& host_;
    const std::string path_;
    const std::unique_ptr<Host_Device> device_;
};

Host_Answer<std::string> Host_RecordingHost::runWithin(const std::string& command,
                                                       const Host_Limits& limits) {
    return noteText({"command", command}, host_.run(command, limits));
}

Host_Answer<std::string> Host_RecordingHost::readFile(const std::string& path) {
    return noteText({"file", path}, host_.readFile(path));
}

Host_Answer<std::vector<std::string>> Host_RecordingHost::listFolder(const std::string& path) {
    return note({"folder", path}, host_.listFolder(path));
}

Host_Answer<std::string> Host_RecordingHost::readLink(const std::string& path) {
    return note({"link", path}, host_.readLink(path));
}

Host_Answer<Host_Node> Host_RecordingHost::node(const std::string& path) {
    return note({"node", path}, host_.node(path));
}

Host_Answer<Host_FileSystem> Host_RecordingHost::fileSystem(const std::string& mountPoint) {
    return note({"filesystem", mountPoint}, host_.fileSystem(mountPoint));
}

Host_Answer<std::unique_ptr<Host_Device>> Host_RecordingHost::openDevice(const std::string& path) {
    using Opened = std::unique_ptr<Host_Device>;
    Host_Answer<Opened> device = host_.openDevice(path);
    keep({"device", path}, device ? Host_Words() : Host_Answer<Host_Words>::failure(device.error()));
    return device ? Opened(std::make_unique<Device>(*this, path, std::move(*device))) : std::move(device);
}

Host_Answer<std::string> Host_RecordingHost::hostName() {
    return note({"host", "name"}, host_.hostName());
}

Host_Answer<std::string> Host_RecordingHost::domainName() {
    return note({"host", "domain"}, host_.domainName());
}

Host_Answer<int> Host_RecordingHost::gmtOffset() {
    return note({"host", "gmt-offset"}, host_.gmtOffset());
}

Host_Answer<bool> Host_RecordingHost::daylightSaving() {
    return note({"host", "daylight"}, host_.daylightSaving());
}
