#pragma once

#include "net/HTTP_AddressPortPair.h"
#include "net/HTTP_RequestHandler.h"
#include "net/Socket_Socket.h"
#include "threads/Thread_Threadable.h"

#include <memory>
#include <vector>

/// The listening side: one accepting thread for each address and port, and a growing pool of workers, each of
/// which serves one connection for the whole of its life. A port speaks plain HTTP and HTTPS at once.
class HTTP_Server : public Thread_Threadable {
public:
    /// Binds and listens on every pair, so that connections queue before any thread runs. The pairs are
    /// copied; the factories are borrowed and must outlive the server. `workers` is the number of worker
    /// threads at start, at least 2; 10 more come on demand. On failure nothing stays bound.
    virtual bool init(const std::vector<HTTP_AddressPortPair*>& pairs, Socket_SSLFactory* sslFactory,
                      HTTP_RequestHandlerFactory* handlerFactory, unsigned workers) = 0;
    /// Closes the listeners. Not while accept threads run.
    virtual void closeSockets() = 0;
};

std::unique_ptr<HTTP_Server> HTTP_FactoryAllocateServer();

bool HTTP_LayerInit();
void HTTP_LayerCleanup();
