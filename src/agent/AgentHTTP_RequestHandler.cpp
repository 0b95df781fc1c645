#include "agent/AgentHTTP_RequestHandler.h"

#include "methods/AgentRMI_MethodFactory.h"
#include "net/HTTP_File.h"
#include "rmi/AgentHTTP_PeerVerifyHandler.h"
#include "rmi/RMI_RequestHandler.h"

#include <memory>
#include <optional>
#include <string_view>

namespace {

constexpr std::string_view page =
    "<HTML><TITLE>Norvalith Agent</TITLE><CENTER><H1>Norvalith Agent</H1></CENTER></HTML>";
static_assert(page.size() == 84);

constexpr std::string_view pageUri = "/";
constexpr std::string_view methodUri = "/nxCommand";

bool replyWithoutBody(HTTP_File& file, HTTP_Return_Code code) {
    return file.sendReply(code, HTTP_CONTENT_TYPE_TEXT_HTML, nullptr, 0);
}

struct Reply {
    std::unique_ptr<char[]> text;
    unsigned length = 0;
};

/// The method's answer to one request; nothing if the envelope itself failed.
std::optional<Reply> callMethod(HTTP_File& file, RMI_PeerVerifyHandler& peer, std::string_view request) {
    AgentRMI_MethodFactory factory;
    RMI_RequestHandler handler;
    if (!handler.registerMethodFactory(&factory))
        return std::nullopt;
    char* text = nullptr;
    Reply reply;
    const bool processed =
        handler.processRequest(file.getEncryptionProtocol(), &peer, request, text, reply.length);
    reply.text.reset(text);
    if (!processed)
        return std::nullopt;
    return reply;
}

} // namespace

bool AgentHTTP_RequestHandler::handleGet(HTTP_File* file, bool& keepFile) {
    keepFile = false;
    if (file->getURI() != pageUri)
        return replyWithoutBody(*file, HTTP_RETURN_NOT_FOUND);
    return file->sendReply(HTTP_RETURN_OK, HTTP_CONTENT_TYPE_TEXT_HTML, page.data(), page.size());
}

bool AgentHTTP_RequestHandler::handlePost(HTTP_File* file, bool& keepFile) {
    keepFile = false;
    AgentHTTP_PeerVerifyHandler peer;
    peer.registerFile(file);
    if (file->getURI() != methodUri)
        return replyWithoutBody(*file, HTTP_RETURN_NOT_FOUND);

    char* body = nullptr;
    int length = 0;
    file->getEntityBody(body, length);
    if (body == nullptr)
        return replyWithoutBody(*file, HTTP_RETURN_BAD_REQUEST);

    std::optional<Reply> reply;
    try {
        reply = callMethod(*file, peer, std::string_view(body, static_cast<std::size_t>(length)));
    } catch (...) {
        reply.reset();
    }
    if (!reply)
        return replyWithoutBody(*file, HTTP_RETURN_INTERNAL_SERVER_ERROR);
    return file->sendReply(HTTP_RETURN_OK, HTTP_CONTENT_TYPE_TEXT_XML, reply->text.get(),
                           static_cast<int>(reply->length));
}

std::unique_ptr<HTTP_RequestHandler> AgentHTTP_RequestHandlerFactory::createHandler() {
    return std::make_unique<AgentHTTP_RequestHandler>();
}
