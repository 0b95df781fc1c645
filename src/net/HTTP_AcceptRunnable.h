#pragma once

#include "net/HTTP_RequestHandler.h"
#include "net/Socket_SocketImpl.h"
#include "threads/Thread_Mutex.h"
#include "threads/Thread_Pool.h"
#include "threads/Thread_Runnable.h"

/// Accepts the connections of one port and hands them to the workers until it is told to terminate. All that
/// it is given is borrowed and must outlive it.
class HTTP_AcceptRunnable : public Thread_Runnable {
public:
    /// `handlerMutex` is held around createHandler, which the accept threads of all ports call.
    HTTP_AcceptRunnable(Socket_SocketImpl& listener, Thread_Pool& workers,
                        HTTP_RequestHandlerFactory& handlers, Thread_Mutex& handlerMutex)
        : listener_(listener), workers_(workers), handlers_(handlers), handlerMutex_(handlerMutex) {}

    void run() override;
    /// Wakes the accept by a connection to the own port. Does not wait.
    bool setToTerminate() override;

private:
    bool acceptOne();
    void handOver(Socket_SocketImpl& connection);

    Socket_SocketImpl& listener_;
    Thread_Pool& workers_;
    HTTP_RequestHandlerFactory& handlers_;
    Thread_Mutex& handlerMutex_;
    /// Stays open until the next attempt, so that it is not gone before it is accepted.
    Socket_SocketImpl wake_;
};
