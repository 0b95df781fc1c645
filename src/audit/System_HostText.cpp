#include "audit/System_HostText.h"

std::string System_FirstLine(std::string_view text) {
    return std::string(text.substr(0, text.find_first_of("\r\n")));
}

std::string System_FirstFile(std::string_view listing) {
    return std::string(listing.substr(0, listing.find_first_of("\r\n\t ")));
}

std::string System_ComposeOSName(std::string_view releaseFile, std::string_view kernelRelease) {
    return (releaseFile.empty() ? "Linux" : System_FirstLine(releaseFile)) + ' ' +
           System_FirstLine(kernelRelease);
}

std::optional<std::string> System_DomainOfKernel(std::string_view name) {
    if (name.find('.') == std::string_view::npos)
        return std::nullopt;
    return std::string(name);
}

std::optional<std::string> System_DomainOfResolver(std::string_view lines) {
    constexpr std::string_view keyword = "domain";
    if (!lines.starts_with(keyword))
        return std::nullopt;
    lines.remove_prefix(keyword.size());
    const std::size_t start = lines.find_first_not_of(" \t");
    if (start == std::string_view::npos)
        return std::nullopt;
    const std::string_view domain = lines.substr(start, lines.find('\n', start) - start);
    if (domain.empty())
        return std::nullopt;
    return std::string(domain);
}
