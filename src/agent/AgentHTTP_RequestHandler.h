#pragma once

#include "net/HTTP_RequestHandler.h"

#include <memory>

/// Serves one connection: GET "/" gives a fixed page, POST "/nxCommand" carries a remote method call. Used by
/// the worker thread of its connection only.
class AgentHTTP_RequestHandler : public HTTP_RequestHandler {
public:
    /// The result is that of the reply. `keepFile` is always cleared: the connection stays with its worker.
    bool handleGet(HTTP_File* file, bool& keepFile) override;
    bool handlePost(HTTP_File* file, bool& keepFile) override;
};

/// Makes one handler for each accepted connection. Stateless.
class AgentHTTP_RequestHandlerFactory : public HTTP_RequestHandlerFactory {
public:
    std::unique_ptr<HTTP_RequestHandler> createHandler() override;
};
