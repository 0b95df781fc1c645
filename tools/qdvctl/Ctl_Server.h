#pragma once

#include "net/HTTP_AddressPortPair.h"
#include "net/HTTP_Server.h"
#include "qdvctl/Ctl_ServeHandler.h"

#include <cstdio>
#include <memory>
#include <string>

/// Stands in for the management server for as long as the object lives: answers on the ports of the options
/// and writes each call to `output`. The network and TLS layers must be up.
class Ctl_Server {
public:
    /// Options and output are borrowed. Throws Ctl_Failure if a port cannot be had.
    Ctl_Server(const Ctl_ServeOptions& options, std::FILE* output, Ctl_CallObserver observer = {});
    Ctl_Server(const Ctl_Server&) = delete;
    Ctl_Server& operator=(const Ctl_Server&) = delete;
    ~Ctl_Server();

    /// False if a client keeps a worker busy beyond patience: then the process must end without clean-up.
    bool stop();
    /// The addresses it listens on, for a message.
    std::string describe() const;

private:
    std::vector<HTTP_AddressPortPair> pairs_;
    Ctl_ServeHandlerFactory handlers_;
    std::unique_ptr<HTTP_Server> server_;
};
