#include "net/HTTP_WorkerRunnable.h"

#include "net/HTTP_FileImplServer.h"
#include "net/HTTP_Stop.h"

namespace {

bool dispatch(HTTP_RequestHandler& handler, HTTP_FileImplServer& file, bool& keepFile) {
    switch (file.getMethod()) {
    case HTTP_METHOD_GET:
        return handler.handleGet(&file, keepFile);
    case HTTP_METHOD_POST:
        return handler.handlePost(&file, keepFile);
    default:
        return file.sendReply(HTTP_RETURN_NOT_IMPLEMENTED, HTTP_CONTENT_TYPE_TEXT_HTML, nullptr, 0);
    }
}

} // namespace

/// False if the connection takes no further request.
bool HTTP_WorkerRunnable::serveRequest(HTTP_FileImplServer& file, bool& keepFile) {
    HTTP_Return_Code code{};
    if (!file.handleRequest(code))
        return false;
    try {
        dispatch(*handler_, file, keepFile);
    } catch (...) {
        // A fault in a handler is the request's affair; the connection outlives it if it was to be kept
        // anyway.
    }
    if (keepFile)
        return false;
    file.forgetRequest();
    return file.isKeepAlive() && !HTTP_IsStopping();
}

void HTTP_WorkerRunnable::run() {
    auto file = std::make_unique<HTTP_FileImplServer>();
    if (!file->getSocket().copy(&socket_))
        return;
    bool keepFile = false;
    while (serveRequest(*file, keepFile)) {
    }
    if (keepFile)
        (void)file.release();
}
