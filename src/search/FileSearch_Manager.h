#pragma once

#include "search/FileSearch_Handlers.h"
#include "threads/Thread_Threadable.h"
#include "xml/Xerces_Types.h"

#include <memory>
#include <pthread.h>
#include <string>
#include <vector>

class Auditable_Auditable;
class FileSearch_SortCaller;

/// The service that owns all searches: it runs them, reads pages of their results, and forgets them when
/// nobody has asked for them for long enough.
///
/// `init`, then `start`. Thread-safe. Everything fails while the service is not running. Searches themselves
/// run on its threads, without its mutex.
class FileSearch_Manager : public Thread_Threadable {
public:
    /// `path` is the directory of the results, which is made with the first search. `factory` is borrowed.
    /// False while the service runs, and without a factory.
    virtual bool init(const char* path, FileSearch_HandlerFactory* factory) = 0;
    /// Deletes the searches and their files. False if one of them is at work; then those that are not are
    /// forgotten, but every file stays.
    virtual bool deleteSearches(std::vector<std::string> tokens) = 0;
    /// Starts the search that the request's Method element tells of, with the audit parameters of
    /// `auditable`. False if it cannot be read, or its token is known or has files. Throws
    /// Thread_ThreadPoolException if as many searches run as may.
    virtual bool performNewSearch(xercesc::DOMElement* method, Auditable_Auditable* auditable) = 0;
    /// What a search that has ended has found, below `parent`. False if it is not known.
    virtual bool serializeSummary(const char* token, xercesc::DOMDocument* document,
                                  xercesc::DOMElement* parent) = 0;
    /// Has a page of results written below `parent` on another thread, which tells `caller` when it is done;
    /// until then the caller waits. False, and there is nothing to wait for, if the request cannot be read,
    /// the search is at work, or there are no such results. `hostTarget` may be null.
    virtual bool lookupResults(FileSearch_SortCaller* caller, xercesc::DOMElement* method,
                               xercesc::DOMDocument* document, xercesc::DOMElement* parent,
                               const char* hostTarget) = 0;
};

/// Null when memory is short.
std::unique_ptr<FileSearch_Manager> FileSearch_FactoryAllocateManager();

/// There while the agent runs. The mutex is held around each call of a method or a call to the server, and
/// taken before the manager's own.
extern std::unique_ptr<FileSearch_Manager> gFileSearchMgr;
extern pthread_mutex_t gMutexFileSearch;
