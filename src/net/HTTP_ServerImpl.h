#pragma once

#include "net/HTTP_Server.h"
#include "net/Socket_SocketImpl.h"
#include "threads/Thread_Mutex.h"
#include "threads/Thread_Pool.h"

#include <memory>
#include <vector>

/// A listener and where it listens.
struct HTTP_SocketPair {
    Socket_SocketImpl socket;
    HTTP_AddressPortPair pair;
};

class HTTP_ServerImpl : public HTTP_Server {
public:
    HTTP_ServerImpl();
    ~HTTP_ServerImpl() override;

    bool start() override;
    bool shutdown(bool& stillRunning, unsigned attempt, bool lastAttempt) override;
    bool init(const std::vector<HTTP_AddressPortPair*>& pairs, Socket_SSLFactory* sslFactory,
              HTTP_RequestHandlerFactory* handlerFactory, unsigned workers) override;
    void closeSockets() override;

    /// The ports listened on, in the order of the pairs given to init; the real one where a pair had port 0.
    std::vector<unsigned short> getPorts() const;

private:
    bool openSocket(const HTTP_AddressPortPair& pair);
    bool startThreads();

    std::vector<std::unique_ptr<HTTP_SocketPair>> sockets_;
    Socket_SSLFactory* sslFactory_ = nullptr;
    HTTP_RequestHandlerFactory* handlerFactory_ = nullptr;
    Thread_Mutex handlerMutex_;
    // The accept threads hand connections to the workers, so they go first.
    Thread_Pool workerPool_;
    Thread_Pool acceptPool_;
};
