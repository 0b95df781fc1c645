#include "net/HTTP_Header.h"

#include "net/HTTP_HeaderAuthenticate.h"
#include "net/HTTP_Text.h"

#include <algorithm>
#include <cstdlib>

namespace {

constexpr std::string_view lineEnd = "\r\n";

template <typename Header>
std::unique_ptr<HTTP_Header> make() {
    return std::make_unique<Header>();
}

struct HeaderClass {
    std::string_view name;
    std::unique_ptr<HTTP_Header> (*make)();
};

template <typename Header>
constexpr HeaderClass headerClass() {
    return {Header::Name, make<Header>};
}

constexpr HeaderClass headerClasses[] = {
    headerClass<HTTP_HeaderUserAgent>(),       headerClass<HTTP_HeaderContentType>(),
    headerClass<HTTP_HeaderContentLength>(),   headerClass<HTTP_HeaderConnection>(),
    headerClass<HTTP_HeaderWWWAuthenticate>(), headerClass<HTTP_HeaderProxyAuthenticate>(),
};

} // namespace

std::unique_ptr<HTTP_Header> HTTP_FactoryAllocateHeader(std::string_view line) {
    for (const HeaderClass& row : headerClasses) {
        if (HTTP_StartsWithIgnoringCase(line, row.name))
            return row.make();
    }
    return std::make_unique<HTTP_Header>();
}

bool HTTP_HasHeader(const HTTP_HeaderMap& headers, std::string_view name) {
    return std::any_of(headers.begin(), headers.end(),
                       [name](const auto& entry) { return HTTP_EqualsIgnoringCase(entry.first, name); });
}

bool HTTP_HasHeader(const HTTP_HeaderMap& headers, std::string_view name, std::string_view value) {
    return std::any_of(headers.begin(), headers.end(), [name, value](const auto& entry) {
        return HTTP_EqualsIgnoringCase(entry.first, name) &&
               HTTP_EqualsIgnoringCase(entry.second->getValue(), value);
    });
}

bool HTTP_Header::stripDoubleQuotes(const std::string* in, std::string* out) const {
    constexpr std::string_view stripped = " \"";
    const std::size_t first = in->find_first_not_of(stripped);
    if (first == std::string::npos) {
        out->clear();
        return false;
    }
    *out = in->substr(first, in->find_last_not_of(stripped) - first + 1);
    return true;
}

bool HTTP_Header::getSerializeValue(std::string* out) const {
    *out += value_.view();
    return true;
}

bool HTTP_Header::serialize(std::string* out) const {
    const std::size_t before = out->size();
    out->append(name_).append(": ");
    if (!getSerializeValue(out)) {
        out->resize(before);
        return false;
    }
    out->append(lineEnd);
    return true;
}

bool HTTP_Header::parse(const std::string* line) {
    value_.clear();
    const std::string_view text = HTTP_SkipBlanks(*line);
    const std::size_t colon = text.find(':');
    if (colon == std::string_view::npos)
        return false;
    const std::string_view rest = HTTP_SkipBlanks(text.substr(colon + 1));
    const std::size_t end = rest.find(lineEnd);
    if (end == std::string_view::npos)
        return false;
    if (!fixedName_)
        name_ = text.substr(0, std::min(colon, text.find(' ')));
    value_.assign(rest.substr(0, end));
    return true;
}

bool HTTP_HeaderContentType::parse(const std::string* line) {
    if (!HTTP_Header::parse(line))
        return false;
    type_ = HTTP_ContentTypeFromText(getValue());
    return true;
}

bool HTTP_HeaderContentLength::parse(const std::string* line) {
    if (!HTTP_Header::parse(line))
        return false;
    length_ = static_cast<unsigned long>(std::max(0L, std::strtol(getValue().c_str(), nullptr, 10)));
    return true;
}

bool HTTP_HeaderConnection::parse(const std::string* line) {
    if (!HTTP_Header::parse(line))
        return false;
    if (HTTP_EqualsIgnoringCase(getValue(), "Keep-Alive"))
        type_ = KEEP_ALIVE;
    else if (HTTP_EqualsIgnoringCase(getValue(), "Close"))
        type_ = CLOSE;
    else
        type_ = UNKNOWN;
    return true;
}
