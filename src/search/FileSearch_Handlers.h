#pragma once

#include <memory>

/// What a search tells, and whom. The handlers are called on the thread of the search, which waits for them.

/// How a volume fares.
enum class FileSearchProgressStatus : int {
    OK,
    Error,
    ErrorWrite,  ///< hits could not be stored
    ErrorAccess, ///< the volume could not be walked
};

/// The text that the server knows it by.
const char* FileSearchProgressStatus_String(FileSearchProgressStatus status);

class FileSearch_ProgressHandler {
public:
    virtual ~FileSearch_ProgressHandler() = default;

    /// The files and directories of volume `id` that have been looked at. `hostTarget` is null for this host.
    /// `delivered` is whether the server knows; false for a null token.
    virtual bool handleSearchProgress(const char* token, unsigned long long id, unsigned long long files,
                                      unsigned long long dirs, bool& delivered,
                                      FileSearchProgressStatus status, const char* hostTarget) = 0;
};

class FileSearch_CompleteHandler {
public:
    virtual ~FileSearch_CompleteHandler() = default;

    virtual bool handleSearchComplete(const char* token, bool& delivered, const char* hostTarget) = 0;
};

class FileSearch_HandlerFactory {
public:
    virtual ~FileSearch_HandlerFactory() = default;

    virtual std::unique_ptr<FileSearch_ProgressHandler> createProgressHandler() = 0;
    virtual std::unique_ptr<FileSearch_CompleteHandler> createCompleteHandler() = 0;
};
