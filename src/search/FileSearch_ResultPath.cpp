#include "search/FileSearch_ResultPath.h"

#include "base/Base64.h"

#include <algorithm>

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
