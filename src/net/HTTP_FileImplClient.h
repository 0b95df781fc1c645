#pragma once

#include "net/HTTP_FileImpl.h"

class HTTP_ConnectionImpl;
class HTTP_HeaderAuthenticateBase;

/// The client's side of one exchange, on a connection of its own, with one more attempt if authentication is
/// asked for.
class HTTP_FileImplClient final : public HTTP_FileImpl {
public:
    /// The connection is borrowed and outlives the file.
    HTTP_FileImplClient(const HTTP_ConnectionImpl& connection, HTTP_Method method, std::string_view uri)
        : HTTP_FileImpl(method, uri), connection_(connection) {}

    bool sendRequest(HTTP_Content_Type contentType, const char* name, const char* body, int length) override;
    bool getWasClientResponseReceived() const override { return responseReceived_; }
    HTTP_Return_Code getReturnCode() const override;

private:
    bool createRequest(Secret_Text& out, HTTP_Content_Type contentType, std::string_view body,
                       const HTTP_HeaderAuthenticateBase* challenge) const;
    bool authorize(Secret_Text& out, const HTTP_HeaderAuthenticateBase& challenge) const;
    bool exchange(std::string_view request, bool readBodyWithoutLength);
    bool connect();
    bool bindLocalEnd(unsigned& port);
    bool readReply(bool readBodyWithoutLength);
    std::unique_ptr<HTTP_HeaderAuthenticateBase> takeChallenge();

    const HTTP_ConnectionImpl& connection_;
    bool responseReceived_ = false;
    HTTP_Return_Code returnCode_ = HTTP_RETURN_OK;
};
