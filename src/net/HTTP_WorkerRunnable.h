#pragma once

#include "net/HTTP_RequestHandler.h"
#include "net/Socket_SocketImpl.h"
#include "threads/Thread_Runnable.h"

#include <memory>

class HTTP_FileImplServer;

/// Serves one accepted connection from its first request to its end.
class HTTP_WorkerRunnable : public Thread_Runnable {
public:
    explicit HTTP_WorkerRunnable(std::unique_ptr<HTTP_RequestHandler> handler)
        : handler_(std::move(handler)) {}

    /// The connection to serve is given to this socket before the runnable is handed over.
    Socket_SocketImpl& getSocket() { return socket_; }
    void run() override;

private:
    bool serveRequest(HTTP_FileImplServer& file, bool& keepFile);

    Socket_SocketImpl socket_;
    std::unique_ptr<HTTP_RequestHandler> handler_;
};
