#include "net/HTTP_Reader.h"

#include "log/Debug_Printf.h"
#include "net/HTTP_Text.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace {

/// The map node, the header object and the string blocks that a header takes beside the text of its line.
constexpr std::size_t headerOverhead = 256;

/// A head up to here is always read, also when requests hold all that they may together.
constexpr std::size_t uncountedHead = 65536;

/// A code of more digits is not looked at further.
constexpr std::size_t longestCode = 32;

bool isLineEnd(char c) {
    return c == '\r' || c == '\n';
}

void appendWithoutLineEnds(Secret_Text& out, std::string_view text) {
    while (!text.empty()) {
        const std::size_t line = std::min(text.find_first_of("\r\n"), text.size());
        out.append(text.substr(0, line));
        text.remove_prefix(std::min(line + 1, text.size()));
    }
}

/// Doubles, but never beyond what is to come: a body that has arrived takes its own size.
bool makeRoom(Secret_Text& body, std::size_t needed, std::size_t length, Memory_Share& share) {
    if (needed <= share.size())
        return true;
    const std::size_t wanted = std::min(length, std::max(needed, 2 * share.size()));
    if (!share.grow(wanted - share.size()))
        return false;
    body.reserve(wanted);
    return true;
}

/// What such a header says is as good as a password.
bool isAuthorization(std::string_view name) {
    constexpr std::string_view word = "authorization";
    return std::search(name.begin(), name.end(), word.begin(), word.end(),
                       [](char a, char b) { return HTTP_Lower(a) == b; }) != name.end();
}

void logHeader(const Secret_Text& line) {
    std::string_view name = HTTP_SkipBlanks(line.view());
    name = name.substr(0, name.find_first_of(": \t\r\n"));
    if (isAuthorization(name))
        gDebugPrintf.print("%.*s: (not logged)\r\n", static_cast<int>(name.size()), name.data());
    else
        gDebugPrintf.print("%s", line.c_str());
}

bool endsHeaders(std::string_view line) {
    return line == "\r" || line == "\n" || line == "\r\n";
}

} // namespace

bool HTTP_ParseRequestLine(std::string_view line, HTTP_RequestLine& result) {
    const std::size_t methodEnd = line.find(' ');
    const std::size_t uri = methodEnd == std::string_view::npos ? methodEnd : line.find('/', methodEnd);
    const std::size_t uriEnd = uri == std::string_view::npos ? uri : line.find(' ', uri);
    if (uriEnd == std::string_view::npos)
        return false;
    const std::string_view rest = line.substr(uriEnd + 1);
    const std::size_t versionEnd = std::min(rest.find('\r'), rest.find('\n'));
    if (versionEnd == std::string_view::npos)
        return false;
    result.method = HTTP_MethodFromText(line.substr(0, methodEnd));
    result.uri = line.substr(uri, uriEnd - uri);
    result.version = rest.substr(0, versionEnd);
    return true;
}

bool HTTP_ParseStatusLine(std::string_view line, std::string& version, HTTP_Return_Code& code) {
    const std::size_t versionEnd = line.find(' ');
    if (versionEnd == std::string_view::npos)
        return false;
    const std::size_t digits = line.find_first_of("0123456789", versionEnd);
    const std::size_t end = digits == std::string_view::npos ? digits : line.find(' ', digits);
    if (end == std::string_view::npos)
        return false;
    const std::string number(line.substr(digits, std::min(end - digits, longestCode)));
    version = line.substr(0, versionEnd);
    code = static_cast<HTTP_Return_Code>(std::strtol(number.c_str(), nullptr, 10));
    return true;
}

bool HTTP_HeadReader::spend(std::size_t bytes) {
    spent_ += bytes;
    if (spent_ > HTTP_HeaderBlockLimit)
        return false;
    const std::size_t counted = spent_ > uncountedHead ? 2 * spent_ : 0;
    return counted <= share_.size() || share_.grow(counted - share_.size());
}

bool HTTP_HeadReader::take(std::size_t bytes) {
    if (!spend(bytes))
        return false;
    line_.append(input_.arrived().substr(0, bytes));
    input_.consume(bytes);
    return true;
}

bool HTTP_HeadReader::readLine() {
    line_.resize(0);
    while (Socket_AwaitBytes(input_, 1, timeLimit_)) {
        const std::string_view arrived = input_.arrived();
        const std::size_t text = std::find_if(arrived.begin(), arrived.end(), isLineEnd) - arrived.begin();
        if (text == arrived.size()) {
            if (!take(text))
                return false;
        } else if (arrived[text] == '\n') {
            return take(text + 1);
        } else {
            // What follows a CR tells whether it belongs to the line's end.
            return Socket_AwaitBytes(input_, text + 2, timeLimit_) &&
                   take(input_.arrived()[text + 1] == '\n' ? text + 2 : text + 1);
        }
    }
    return false;
}

bool HTTP_HeadReader::addHeader(HTTP_HeaderMap& headers) {
    if (!spend(headerOverhead))
        return false;
    auto header = HTTP_FactoryAllocateHeader(HTTP_SkipBlanks(line_.view()));
    if (!header->parse(&line_.asString()))
        return false;
    std::string name = header->getName();
    headers.emplace(std::move(name), std::move(header));
    return true;
}

bool HTTP_HeadReader::readHeaders(HTTP_HeaderMap& headers) {
    headers.clear();
    while (readLine()) {
        if (gDebugPrintf.isEnabled())
            logHeader(line_);
        if (endsHeaders(line_.view()))
            return true;
        if (!addHeader(headers))
            break;
    }
    headers.clear();
    return false;
}

bool HTTP_ReadBody(Socket_Input& input, std::size_t length, unsigned timeLimit, Secret_Text& body,
                   Memory_Share& share, std::size_t limit) {
    body.clear();
    share.release();
    if (length > limit)
        return false;
    while (body.size() < length) {
        if (!Socket_AwaitBytes(input, 1, timeLimit))
            return false;
        const std::string_view bytes = input.arrived().substr(0, length - body.size());
        if (!makeRoom(body, body.size() + bytes.size(), length, share))
            return false;
        body.append(bytes);
        input.consume(bytes.size());
    }
    return true;
}

bool HTTP_ReadBodyToEnd(Socket_Input& input, unsigned timeLimit, Secret_Text& body, Memory_Share& share,
                        std::size_t limit) {
    body.clear();
    share.release();
    while (Socket_AwaitBytes(input, 1, timeLimit)) {
        const std::string_view bytes = input.arrived();
        if (bytes.size() > limit - share.size() || !share.grow(bytes.size()))
            return false;
        appendWithoutLineEnds(body, bytes);
        input.consume(bytes.size());
    }
    return true;
}
