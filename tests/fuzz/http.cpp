// Feeds bytes to both sides of HTTP. The first byte chooses: requests read off a real socket, with the choice
// between plain and TLS on the way and a reply after each, or the parts of a reply read from memory in
// pieces.

#include "net/AgentSSL_Factory.h"
#include "net/HTTP_BodyPassword.h"
#include "net/HTTP_FileImplServer.h"
#include "net/HTTP_HeaderAuthenticate.h"
#include "net/HTTP_HeaderAuthorization.h"
#include "net/HTTP_Reader.h"
#include "net/HTTP_URLEncoding.h"
#include "target.h"

#include <algorithm>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr unsigned limit = 1;

/// The text, in pieces whose sizes follow a pattern.
class Pieces : public Socket_Input {
public:
    Pieces(std::string_view text, std::size_t seed) : text_(text), seed_(seed) {}
    std::string_view arrived() const override { return text_.substr(begin_, end_ - begin_); }
    void consume(std::size_t count) override {
        require(count <= end_ - begin_);
        begin_ += count;
    }
    bool receiveMore(unsigned) override {
        seed_ = seed_ * 5 + 1;
        const std::size_t more = std::min(1 + seed_ % 17, text_.size() - end_);
        end_ += more;
        return more != 0;
    }

private:
    std::string_view text_;
    std::size_t seed_;
    std::size_t begin_ = 0;
    std::size_t end_ = 0;
};

void serve(std::string_view bytes) {
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
        return;
    HTTP_FileImplServer file;
    file.getSocket().adopt(File_Descriptor(ends[0]), Socket_SSLFactory::SERVER);
    file.registerSSLFactory(&gSSLFactory);
    ::fcntl(ends[1], F_SETFL, O_NONBLOCK);
    (void)!::write(ends[1], bytes.data(), bytes.size());
    ::shutdown(ends[1], SHUT_WR);
    HTTP_Return_Code code{};
    while (file.handleRequest(code)) {
        require(code == HTTP_RETURN_OK && file.getWasServerRequestMade());
        char* body = nullptr;
        int length = 0;
        require(file.getEntityBody(body, length) == (length > 0));
        require(length <= static_cast<int>(bytes.size()));
        file.sendReply(HTTP_RETURN_OK, HTTP_CONTENT_TYPE_TEXT_XML, body, length);
    }
    ::close(ends[1]);
}

void answer(const HTTP_HeaderAuthenticateBase& challenge) {
    HTTP_HeaderAuthorization header;
    header.setScheme(challenge.getScheme());
    header.setRealm(challenge.getRealm());
    header.setNonce(challenge.getNonce());
    header.setOpaque(challenge.getOpaque());
    header.setAlgorithm(challenge.getAlgorithm());
    header.setMethod(HTTP_METHOD_POST);
    std::string out;
    require(header.serialize(&out));
    // What a challenge brings must not become a header of its own.
    require(out.find("\r\n") == out.size() - 2 && std::count(out.begin(), out.end(), '\n') == 1);
}

void readReply(std::string_view bytes, std::size_t seed) {
    Pieces input(bytes, seed);
    Memory_Share headShare;
    HTTP_HeadReader reader(input, limit, headShare);
    std::string version;
    HTTP_Return_Code code{};
    HTTP_HeaderMap headers;
    if (!reader.readLine() || !HTTP_ParseStatusLine(reader.line().view(), version, code) ||
        !reader.readHeaders(headers))
        return;
    if (const auto* challenge = HTTP_LastHeader<HTTP_HeaderWWWAuthenticate>(headers))
        answer(*challenge);
    Secret_Text body;
    Memory_Share share;
    const auto* length = HTTP_LastHeader<HTTP_HeaderContentLength>(headers);
    const bool read = length != nullptr ? HTTP_ReadBody(input, length->getContentLength(), limit, body, share)
                                        : HTTP_ReadBodyToEnd(input, limit, body, share);
    require(!read || length == nullptr || body.size() == length->getContentLength());
    require(decodeURLEncoding(encodeURLEncoding(body.view())) == body.view());
    require(decodeURLEncoding(body.view()).size() <= body.size());
    require(!HTTP_IsFreeOfPasswords(body.view()) || !requestBodyContainsPassword(body.view()));
}

} // namespace

void fuzz(std::string_view input) {
    static const bool ready = AgentSSL_LayerInit();
    require(ready);
    if (input.empty())
        return;
    const auto kind = static_cast<unsigned char>(input[0]);
    const std::string_view bytes = input.substr(1);
    if (kind % 2 == 0)
        serve(bytes);
    else
        readReply(bytes, kind);
}
