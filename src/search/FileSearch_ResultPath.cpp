#include "search/FileSearch_ResultPath.h"

#include "base/Base64.h"

#include <algorithm>

namespace {

constexpr char hostTargetMark = '_';

} // namespace

std::string FileSearch_Token(const std::string& serverToken, const std::string& hostTarget) {
    return hostTarget.empty() ? serverToken : serverToken + hostTargetMark + hostTarget;
}

std::string FileSearch_ServerToken(const std::string& token) {
    return token.substr(0, token.find(hostTargetMark));
}

bool FileSearch_IsToken(std::string_view token) {
    return !token.empty() && token.find('/') == std::string_view::npos &&
           token.find("..") == std::string_view::npos;
}

std::optional<std::string> FileSearch_TokenPath(const char* name, const char* directory, const char* ending) {
    if (name == nullptr || directory == nullptr)
        return std::nullopt;
    std::string path = directory;
    if (!path.empty())
        path += '/';
    return path + name + ending;
}

std::optional<std::string> FileSearch_VolumePath(const char* name, const char* volume, const char* directory,
                                                 const char* ending) {
    if (volume == nullptr)
        return std::nullopt;
    const std::string text = volume;
    std::string encoded;
    if (!encodeBase64(&text, &encoded))
        return std::nullopt;
    std::replace(encoded.begin(), encoded.end(), '/', '-');
    return FileSearch_TokenPath(name, directory, ('.' + encoded + ending).c_str());
}
