#pragma once

#include "base/Memory_Bound.h"
#include "base/Secret_Text.h"
#include "net/HTTP_Header.h"
#include "net/Socket_Input.h"

#include <cstddef>
#include <string>
#include <string_view>

/// Reads the parts of an HTTP message from a stream: what the server reads of requests and the client of
/// replies. Memory follows the bytes that have arrived; a password may be among them wherever they are.

/// Seconds for which a connection, plain or TLS, may be silent while something is to be read from it.
constexpr unsigned HTTP_ReadTimeLimit = 180;

/// What the first line and the headers of a message may take together, in bytes. A header counts with its
/// line and what is kept for it beside its text.
constexpr std::size_t HTTP_HeaderBlockLimit = std::size_t{16} * 1024 * 1024;
/// What the body of a message may take, in bytes, as it comes.
constexpr std::size_t HTTP_BodyLimit = std::size_t{256} * 1024 * 1024;

/// The first line of a request, in its parts.
struct HTTP_RequestLine {
    HTTP_Method method = HTTP_METHOD_UNKNOWN;
    std::string uri;
    std::string version;
};

/// The method ends at the first blank; the URI runs from the first "/" behind it to the next blank, the
/// version from there to the line's end. False if a part is missing.
bool HTTP_ParseRequestLine(std::string_view line, HTTP_RequestLine& result);

/// The first line of a reply: the version up to the first blank, then a number up to another blank. False if
/// there is no such number.
bool HTTP_ParseStatusLine(std::string_view line, std::string& version, HTTP_Return_Code& code);

/// The first line and the headers of one message share one allowance.
class HTTP_HeadReader {
public:
    /// The input is borrowed, and so is `share`, in which the line that is read and what is kept of it are
    /// counted once they are large. A `timeLimit` of Socket_NoTimeLimit waits for ever.
    HTTP_HeadReader(Socket_Input& input, unsigned timeLimit, Memory_Share& share)
        : input_(input), timeLimit_(timeLimit), share_(share) {}

    /// One line with its end: LF, CR LF, or a CR that something else follows. False if the stream ends before
    /// the line does, the allowance is spent, or all requests together hold too much.
    bool readLine();
    /// The line that was read last.
    const Secret_Text& line() const { return line_; }
    /// Header lines up to an empty one. False if one can't be read or is no header; `headers` is empty then.
    bool readHeaders(HTTP_HeaderMap& headers);

private:
    bool spend(std::size_t bytes);
    bool take(std::size_t bytes);
    bool addHeader(HTTP_HeaderMap& headers);

    Socket_Input& input_;
    unsigned timeLimit_;
    Memory_Share& share_;
    std::size_t spent_ = 0;
    Secret_Text line_;
};

/// Reads a body of exactly `length` bytes, counted in `share`. False if it is larger than the limit, does not
/// arrive whole, or all requests together hold too much.
bool HTTP_ReadBody(Socket_Input& input, std::size_t length, unsigned timeLimit, Secret_Text& body,
                   Memory_Share& share, std::size_t limit = HTTP_BodyLimit);

/// Reads a body to the end of the stream, without its CRs and LFs. False if more than `limit` bytes come, or
/// all requests together hold too much.
bool HTTP_ReadBodyToEnd(Socket_Input& input, unsigned timeLimit, Secret_Text& body, Memory_Share& share,
                        std::size_t limit = HTTP_BodyLimit);
