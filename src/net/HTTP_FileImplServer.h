#pragma once

#include "net/HTTP_FileImpl.h"

/// The server's side of a connection, from its first request to its last reply. Give it the connection
/// through getSocket().
class HTTP_FileImplServer final : public HTTP_FileImpl {
public:
    bool handleRequest(HTTP_Return_Code& code) override;
    bool sendReply(HTTP_Return_Code code, HTTP_Content_Type contentType, const char* body,
                   int length) override;
    bool getWasServerRequestMade() const override { return requestMade_; }
    bool getWasServerRequestSimple() const override;

    /// Gives up the last request, and its memory: a connection may wait for the next one for long.
    void forgetRequest();

    /// Whether the peer may send another request on the connection after the reply.
    bool isKeepAlive() const { return keepAlive_; }

private:
    bool awaitRequest();
    bool readRequest();
    bool readRequestLine(HTTP_HeadReader& reader);
    bool readRequestBody();
    bool agreeToBody();
    void logRequestBody() const;
    void decideKeepAlive();
    bool createReply(std::string& out, HTTP_Return_Code code, HTTP_Content_Type contentType,
                     std::string_view body) const;

    bool requestMade_ = false; ///< and not answered yet
    bool keepAlive_ = false;
};
