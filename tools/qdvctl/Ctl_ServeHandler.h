#pragma once

#include "net/HTTP_RequestHandler.h"
#include "qdvctl/Ctl_Envelope.h"

#include <cstdio>
#include <ctime>
#include <functional>
#include <mutex>
#include <string>

struct Ctl_ServeOptions {
    std::string address = "127.0.0.1";
    unsigned short port = 8373;
    unsigned short tlsPort = 8374;
    std::string sslState = "false";
    bool json = false;
};

/// One call as it is shown; ends with a line feed. `protocol` is "plain" or "TLS".
std::string Ctl_DescribeCall(const Ctl_Request& call, std::time_t when, const std::string& protocol,
                             const std::string& uri, bool json);

/// An UpdateAction as it is shown: the action, and one row for each member. Empty for what is no such call.
std::vector<Ctl_Node> Ctl_SummariseAction(const Ctl_Request& call);

/// What below Response a call asks for: GetSSLState and Ping want a Server element, nothing else wants any.
std::optional<Ctl_Node> Ctl_ResultOf(const std::string& method, const std::string& sslState);

/// Is told of each call, one at a time, before it is answered.
using Ctl_CallObserver = std::function<void(const Ctl_Request& call)>;

/// Answers an agent's calls as its server would, and writes each to `output`, unless an observer is there to
/// be told of it. Made for each connection by its factory; used by the thread that serves it.
class Ctl_ServeHandler : public HTTP_RequestHandler {
public:
    struct Shared {
        const Ctl_ServeOptions& options;
        std::FILE* output;
        Ctl_CallObserver observer; ///< may be empty
        std::mutex outputMutex;
    };

    explicit Ctl_ServeHandler(Shared& shared) : shared_(shared) {}
    /// No page is served: 404.
    bool handleGet(HTTP_File* file, bool& keepFile) override;
    /// Under any URI. 400 for what is no call.
    bool handlePost(HTTP_File* file, bool& keepFile) override;

private:
    void show(const Ctl_Request& call, const HTTP_File& file);

    Shared& shared_;
};

class Ctl_ServeHandlerFactory : public HTTP_RequestHandlerFactory {
public:
    /// Options and output are borrowed and outlive the factory.
    Ctl_ServeHandlerFactory(const Ctl_ServeOptions& options, std::FILE* output, Ctl_CallObserver observer)
        : shared_{options, output, std::move(observer), {}} {}
    std::unique_ptr<HTTP_RequestHandler> createHandler() override;

private:
    Ctl_ServeHandler::Shared shared_;
};
