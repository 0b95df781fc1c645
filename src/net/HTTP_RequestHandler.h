#pragma once

#include <memory>

class HTTP_File;

/// Answers the requests of one connection, on the worker thread that serves it.
class HTTP_RequestHandler {
public:
    HTTP_RequestHandler() = default;
    HTTP_RequestHandler(const HTTP_RequestHandler&) = delete;
    HTTP_RequestHandler& operator=(const HTTP_RequestHandler&) = delete;
    virtual ~HTTP_RequestHandler() = default;

    /// Calls sendReply on the file exactly once and returns its result. Setting `keepFile` takes the file
    /// over: the handler closes and deletes it then, and the connection takes no further request from the
    /// worker. Whatever is thrown is caught by the worker and dropped.
    virtual bool handleGet(HTTP_File* file, bool& keepFile) = 0;
    virtual bool handlePost(HTTP_File* file, bool& keepFile) = 0;
};

/// Makes one handler for each accepted connection. Calls of createHandler never overlap. Outlives the server.
class HTTP_RequestHandlerFactory {
public:
    HTTP_RequestHandlerFactory() = default;
    HTTP_RequestHandlerFactory(const HTTP_RequestHandlerFactory&) = delete;
    HTTP_RequestHandlerFactory& operator=(const HTTP_RequestHandlerFactory&) = delete;
    virtual ~HTTP_RequestHandlerFactory() = default;

    virtual std::unique_ptr<HTTP_RequestHandler> createHandler() = 0;
};
