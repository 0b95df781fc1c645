#include "host/Host_Words.h"

#include <charconv>
#include <iterator>

namespace {

/// By Host_Node::Kind.
constexpr const char* nodeKinds[] = {"file", "folder", "block", "character", "other"};

template <typename Number>
bool readNumber(const std::string& word, Number& number) {
    const char* end = word.data() + word.size();
    const auto [stop, error] = std::from_chars(word.data(), end, number);
    return error == std::errc() && stop == end;
}

/// Each of the words into the number of the same place.
template <typename... Numbers>
bool readNumbers(const Host_Words& words, Numbers&... numbers) {
    if (words.size() != sizeof...(numbers))
        return false;
    auto word = words.begin();
    return (readNumber(*word++, numbers) && ...);
}

template <typename... Numbers>
Host_Words writeNumbers(Numbers... numbers) {
    return {std::to_string(numbers)...};
}

} // namespace

Host_Words Host_ToWords(const std::string& text) {
    return {text};
}

bool Host_FromWords(const Host_Words& words, std::string& text) {
    if (words.size() != 1)
        return false;
    text = words.front();
    return true;
}

Host_Words Host_ToWords(const std::vector<std::string>& names) {
    return names;
}

bool Host_FromWords(const Host_Words& words, std::vector<std::string>& names) {
    names = words;
    return true;
}

Host_Words Host_ToWords(int number) {
    return writeNumbers(number);
}

bool Host_FromWords(const Host_Words& words, int& number) {
    return readNumbers(words, number);
}

Host_Words Host_ToWords(std::uint64_t number) {
    return writeNumbers(number);
}

bool Host_FromWords(const Host_Words& words, std::uint64_t& number) {
    return readNumbers(words, number);
}

Host_Words Host_ToWords(bool yes) {
    return {yes ? "true" : "false"};
}

bool Host_FromWords(const Host_Words& words, bool& yes) {
    yes = words == Host_ToWords(true);
    return yes || words == Host_ToWords(false);
}

Host_Words Host_ToWords(const Host_Node& node) {
    Host_Words words = {nodeKinds[node.kind]};
    if (node.kind == Host_Node::Block || node.kind == Host_Node::Character)
        for (const unsigned number : {node.major, node.minor})
            words.push_back(std::to_string(number));
    return words;
}

bool Host_FromWords(const Host_Words& words, Host_Node& node) {
    for (std::size_t kind = 0; kind < std::size(nodeKinds); ++kind) {
        if (words.empty() || words.front() != nodeKinds[kind])
            continue;
        node = Host_Node{static_cast<Host_Node::Kind>(kind)};
        const bool isDevice = node.kind == Host_Node::Block || node.kind == Host_Node::Character;
        return isDevice ? readNumbers({words.begin() + 1, words.end()}, node.major, node.minor)
                        : words.size() == 1;
    }
    return false;
}

Host_Words Host_ToWords(const Host_FileSystem& fileSystem) {
    return writeNumbers(fileSystem.blockSize, fileSystem.blocks, fileSystem.freeBlocks,
                        fileSystem.availableBlocks, fileSystem.inodes, fileSystem.freeInodes);
}

bool Host_FromWords(const Host_Words& words, Host_FileSystem& fileSystem) {
    return readNumbers(words, fileSystem.blockSize, fileSystem.blocks, fileSystem.freeBlocks,
                       fileSystem.availableBlocks, fileSystem.inodes, fileSystem.freeInodes);
}

Host_Words Host_ToWords(const Host_ScsiAddress& address) {
    return writeNumbers(address.host, address.channel, address.id, address.lun);
}

bool Host_FromWords(const Host_Words& words, Host_ScsiAddress& address) {
    return readNumbers(words, address.host, address.channel, address.id, address.lun);
}
