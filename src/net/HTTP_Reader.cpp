#include "net/HTTP_Reader.h"

#include "log/Debug_Printf.h"
#include "net/HTTP_Text.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace {

/// The map node, the header object and the string blocks that a header takes beside the text of its line.
constexpr std::size_t headerOverhead = 256;

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
    return spent_ <= HTTP_HeaderBlockLimit;
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
        DEBUG_LOG("%s", line_.c_str());
        if (endsHeaders(line_.view()))
            return true;
        if (!addHeader(headers))
            break;
    }
    headers.clear();
    return false;
}

bool HTTP_ReadBody(Socket_Input& input, std::size_t length, unsigned timeLimit, Secret_Text& body) {
    body.clear();
    if (length > HTTP_BodyLimit)
        return false;
    while (body.size() < length) {
        if (!Socket_AwaitBytes(input, 1, timeLimit))
            return false;
        const std::string_view bytes = input.arrived().substr(0, length - body.size());
        body.append(bytes);
        input.consume(bytes.size());
    }
    return true;
}

bool HTTP_ReadBodyToEnd(Socket_Input& input, unsigned timeLimit, Secret_Text& body, std::size_t limit) {
    body.clear();
    std::size_t received = 0;
    while (Socket_AwaitBytes(input, 1, timeLimit)) {
        const std::string_view bytes = input.arrived();
        received += bytes.size();
        if (received > limit)
            return false;
        appendWithoutLineEnds(body, bytes);
        input.consume(bytes.size());
    }
    return true;
}
