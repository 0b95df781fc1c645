#include "base/File_Operations.h"
#include "date/System_Date.h"
#include "files/System_OpenFolder.h"
#include "log/Debug_Printf.h"
#include "model/System_Allocate.h"
#include "search/FileSearch_ExpireFile.h"
#include "search/FileSearch_Manager.h"
#include "search/FileSearch_Runnables.h"
#include "threads/MutexLock.h"
#include "threads/Thread_Pool.h"
#include "threads/Thread_Service.h"
#include "threads/Thread_ThreadPoolException.h"
#include "xml/XMLSerializable_Element.h"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <sys/stat.h>

std::unique_ptr<FileSearch_Manager> gFileSearchMgr;
pthread_mutex_t gMutexFileSearch = PTHREAD_MUTEX_INITIALIZER;

namespace {

constexpr unsigned searchThreads = 5;
constexpr unsigned sortThreads = 5;
constexpr unsigned sortQueue = 10;
constexpr unsigned growth = 5;
constexpr unsigned millisecondsBetweenPasses = 4 * 60 * 60 * 1000;
constexpr unsigned minutesBetweenDiskChecks = 240;
constexpr unsigned minutesOnDisk = 5760;
constexpr std::string_view dataMark = ".dat";
constexpr std::string_view expireMark = "._expire_.dat";
/// The token of a search that must not wait for others begins with it.
constexpr char urgentMark = '0';
/// A search that has ended is remembered for hours with what its request said, and anybody can have many
/// made. This many bytes are more than a server needs. A page finds a forgotten one by its files.
constexpr std::size_t mostRemembered = std::size_t{16} * 1024 * 1024;

/// A token as the names of its files begin with it.
std::string_view tokenOf(std::string_view name) {
    return name.substr(0, name.find('.'));
}

/// A token may hold dots, as the names of hosts do: the whole of it stands before the last part of the name.
std::string_view wholeTokenOf(std::string_view name) {
    for (const std::string_view ending : {".new", ".dat", ".offset"})
        if (name.ends_with(ending))
            name.remove_suffix(ending.size());
    return name.substr(0, name.rfind('.'));
}

bool has(std::string_view name, std::string_view part) {
    return name.find(part) != std::string_view::npos;
}

/// A time before now.
std::unique_ptr<System_Date> minutesAgo(unsigned minutes) {
    std::unique_ptr<System_Date> date = System_FactoryAllocateDate();
    return date->setToCurrentTime() && date->subtractMinutes(minutes) ? std::move(date) : nullptr;
}

class FileSearch_ManagerImpl : public FileSearch_Manager {
public:
    bool init(const char* path, FileSearch_HandlerFactory* factory) override;
    bool start() override;
    bool shutdown(bool& stillRunning, unsigned attempt, bool lastAttempt) override;
    bool deleteSearches(std::vector<std::string> tokens) override;
    bool performNewSearch(xercesc::DOMElement* method, Auditable_Auditable* auditable) override;
    bool serializeSummary(const char* token, xercesc::DOMDocument* document,
                          xercesc::DOMElement* parent) override;
    bool lookupResults(FileSearch_SortCaller* caller, xercesc::DOMElement* method,
                       xercesc::DOMDocument* document, xercesc::DOMElement* parent,
                       const char* hostTarget) override;

private:
    using Searches = std::map<std::string, std::shared_ptr<FileSearch_Search>, std::less<>>;

    bool isDown() { return checkForExitWhileRunning(true, true); }
    void performExpire();
    void expireSearches();
    void expireInMemory();
    void expireOnDisk();
    static bool isExpired(const std::string& path, const System_Date& limit);
    std::optional<std::vector<std::string>> dataFiles() const;
    void deleteFile(const char* who, const std::string& name) const;
    void makeRoomFor(const FileSearch_Search& added);
    bool startSearch(xercesc::DOMElement& method, const Auditable_Auditable& auditable);
    std::shared_ptr<FileSearch_Search> searchOfPage(xercesc::DOMElement& method, const char* hostTarget);

    std::string path_;
    Searches searches_;
    Thread_Mutex mutex_; ///< guards the searches, and who gives work to the pools
    FileSearch_HandlerFactory* handlerFactory_ = nullptr;
    std::unique_ptr<System_Date> lastDiskCheck_ = System_FactoryAllocateDate();
    /// Their threads end before what they use.
    Thread_Pool searchPool_;
    Thread_Pool sortPool_;
    Thread_Pool expirePool_;
    Thread_Pool token0Pool_;
};

bool FileSearch_ManagerImpl::init(const char* path, FileSearch_HandlerFactory* factory) {
    const MutexLock lock(mutex());
    if (factory == nullptr || path == nullptr || checkForErrorBeforeStart(false, false) ||
        !searchPool_.init(searchThreads, 0, growth) || !sortPool_.init(sortThreads, sortQueue, growth) ||
        !expirePool_.init(1, 0, 0) || !token0Pool_.init(1, 0, 0))
        return false;
    path_ = path;
    handlerFactory_ = factory;
    return true;
}

bool FileSearch_ManagerImpl::start() {
    return Thread_StartService(*this, "FileSearch", Thread_ServiceTexts(), [this] {
        return searchPool_.start() && sortPool_.start() && expirePool_.start() && token0Pool_.start() &&
               expirePool_.handleRunnable(
                   std::make_unique<FileSearch_RunnableExpire>([this] { performExpire(); }), false);
    });
}

bool FileSearch_ManagerImpl::shutdown(bool& stillRunning, unsigned attempt, bool lastAttempt) {
    return Thread_ShutDownService(*this, "FileSearch", Thread_ServiceTexts(),
                                  {&searchPool_, &sortPool_, &expirePool_, &token0Pool_}, stillRunning,
                                  attempt, lastAttempt);
}

bool FileSearch_ManagerImpl::performNewSearch(xercesc::DOMElement* method, Auditable_Auditable* auditable) {
    DEBUG_LOG("FileSearch_ManagerImpl::performNewSearch\n");
    if (method == nullptr || auditable == nullptr || isDown())
        return false;
    const MutexLock lock(mutex_.get());
    const auto fail = [] {
        DEBUG_LOG("FileSearch_ManagerImpl::performNewSearch exit with error\n");
        return false;
    };
    try {
        return startSearch(*method, *auditable) || fail();
    } catch (const Thread_ThreadPoolException&) {
        fail();
        throw;
    } catch (...) {
        return fail();
    }
}

/// Forgets searches that have ended and are in nobody's hands, as far as need be.
void FileSearch_ManagerImpl::makeRoomFor(const FileSearch_Search& added) {
    std::size_t held = added.memoryHeld();
    for (const auto& entry : searches_)
        held += entry.second->memoryHeld();
    std::erase_if(searches_, [&](const auto& entry) {
        const std::shared_ptr<FileSearch_Search>& search = entry.second;
        if (held <= mostRemembered || search.use_count() > 1 ||
            search->getAction() != FileSearch_Search::Idle)
            return false;
        held -= search->memoryHeld();
        return true;
    });
}

bool FileSearch_ManagerImpl::startSearch(xercesc::DOMElement& method, const Auditable_Auditable& auditable) {
    if (!path_.empty() && !File_CreateDirectory(path_.c_str()))
        return false;
    const auto search = std::make_shared<FileSearch_Search>();
    search->setPath(path_.c_str());
    bool exists = true;
    if (!search->copyAuditParameters(&auditable) || !search->parseSearchCriteria(&method) ||
        searches_.contains(search->getToken()) || !search->checkSearchExistence(exists) || exists)
        return false;
    auto runnable = std::make_unique<FileSearch_RunnableSearch>(
        search, handlerFactory_->createProgressHandler(), handlerFactory_->createCompleteHandler());
    runnable->setHostTarget(auditable.getAuditParameterValue("hostTarget"));
    search->setAction(FileSearch_Search::Searching);
    Thread_Pool& pool = search->getToken().front() == urgentMark ? token0Pool_ : searchPool_;
    makeRoomFor(*search);
    const auto known = searches_.emplace(search->getToken(), search).first;
    bool isTaken = false;
    try {
        // The file takes the token for days, so all memory is there before it is made.
        isTaken = search->createNewFileSearch() && pool.handleRunnable(std::move(runnable), false);
    } catch (...) {
        searches_.erase(known);
        throw;
    }
    if (!isTaken)
        searches_.erase(known);
    return isTaken;
}

bool FileSearch_ManagerImpl::serializeSummary(const char* token, xercesc::DOMDocument* document,
                                              xercesc::DOMElement* parent) {
    if (token == nullptr || isDown())
        return false;
    const MutexLock lock(mutex_.get());
    const auto found = searches_.find(std::string_view(token));
    if (found != searches_.end() && found->second->serializeSummary(document, parent))
        return true;
    DEBUG_LOG("FileSearch_ManagerImpl::serializeSummary exit with error\n");
    return false;
}

bool FileSearch_ManagerImpl::lookupResults(FileSearch_SortCaller* caller, xercesc::DOMElement* method,
                                           xercesc::DOMDocument* document, xercesc::DOMElement* parent,
                                           const char* hostTarget) {
    if (isDown())
        return false;
    const MutexLock lock(mutex_.get());
    const bool isTaken =
        caller != nullptr && method != nullptr && document != nullptr && parent != nullptr &&
        XMLSerializable_Attempt([&] {
            const std::shared_ptr<FileSearch_Search> search = searchOfPage(*method, hostTarget);
            if (!search)
                return false;
            // From its construction on the runnable sees to it that the search becomes idle again.
            auto runnable = std::make_unique<FileSearch_RunnableSort>(search, *caller, *document, *parent);
            search->setAction(FileSearch_Search::ReadingResults);
            return sortPool_.handleRunnable(std::move(runnable), false);
        });
    if (!isTaken)
        DEBUG_LOG("FileSearch_ManagerImpl::lookupResults exit with error\n");
    return isTaken;
}

/// The search that the request of a page names, if it is not at work. One that is known by its files only
/// becomes known again.
std::shared_ptr<FileSearch_Search> FileSearch_ManagerImpl::searchOfPage(xercesc::DOMElement& method,
                                                                        const char* hostTarget) {
    const auto asked = std::make_shared<FileSearch_Search>();
    asked->setPath(path_.c_str());
    if (hostTarget != nullptr)
        asked->setAuditParameterValue("hostTarget", hostTarget);
    if (!asked->parseResultsCriteria(&method))
        return nullptr;
    if (const auto known = searches_.find(asked->getToken()); known != searches_.end()) {
        if (known->second->getAction() != FileSearch_Search::Idle)
            return nullptr;
        known->second->takePage(*asked);
        return known->second;
    }
    bool exists = false;
    if (!asked->checkLookupExistence(exists) || !exists)
        return nullptr;
    makeRoomFor(*asked);
    return searches_.emplace(asked->getToken(), asked).first->second;
}

void FileSearch_ManagerImpl::performExpire() {
    while (!isDown()) {
        try {
            expireSearches();
        } catch (...) {
            DEBUG_LOG("FileSearch: checking for expiration failed with exception\n");
        }
        waitForSemaphore(millisecondsBetweenPasses);
    }
}

void FileSearch_ManagerImpl::expireSearches() {
    const MutexLock lock(mutex_.get());
    expireInMemory();
    const std::unique_ptr<System_Date> limit = minutesAgo(minutesBetweenDiskChecks);
    if (!limit || !(lastDiskCheck_->isZeroTime() || *lastDiskCheck_ < *limit))
        return;
    DEBUG_LOG("FileSearch: checking result files for expiration\n");
    lastDiskCheck_->setToCurrentTime();
    expireOnDisk();
}

void FileSearch_ManagerImpl::expireInMemory() {
    std::erase_if(searches_, [](const auto& entry) {
        FileSearch_Search& search = *entry.second;
        bool expired = false;
        return (!search.isExpired(expired) || expired) && search.getAction() == FileSearch_Search::Idle;
    });
}

void FileSearch_ManagerImpl::expireOnDisk() {
    const std::unique_ptr<System_Date> limit = minutesAgo(minutesOnDisk);
    const std::optional<std::vector<std::string>> files = dataFiles();
    if (!limit || !files)
        return;
    std::set<std::string_view> expired;
    for (const std::string& name : *files)
        if (has(name, expireMark) && isExpired(path_ + '/' + name, *limit))
            expired.insert(tokenOf(name));
    // A search may take longer than its files are kept, and its results have not been read then.
    for (const auto& [token, search] : searches_)
        expired.erase(tokenOf(token));
    for (const std::string& name : *files)
        if (expired.contains(tokenOf(name)))
            deleteFile("FileSearch_ManagerImpl::expireSearches", name);
}

/// What the file says, or the time at which it was written if a crash has left it without.
bool FileSearch_ManagerImpl::isExpired(const std::string& path, const System_Date& limit) {
    FileSearch_ExpireFile file;
    bool expired = false;
    if (file.setPath(path.c_str()) && file.openFile() && file.isExpired(&limit, expired))
        return expired;
    struct stat status {};
    std::tm written{};
    if (stat(path.c_str(), &status) != 0 || gmtime_r(&status.st_mtime, &written) == nullptr)
        return false;
    const std::unique_ptr<System_Date> date = System_FactoryAllocateDate();
    date->setNative(&written);
    return *date < limit;
}

/// The names of all files of searches, expiry files last: while one is there, what it stands for is
/// found again, whatever ends the deleting. Nothing if the directory cannot be read. One that is not there
/// yet has none.
std::optional<std::vector<std::string>> FileSearch_ManagerImpl::dataFiles() const {
    std::vector<std::string> names;
    System_OpenFolder folder = System_OpenFolder::atPath(path_);
    if (!folder)
        return errno == ENOENT ? std::optional(names) : std::nullopt;
    const auto buffer = std::make_unique<System_FolderBuffer>();
    while (const std::optional<std::string_view> name = folder.next(*buffer))
        if (has(*name, dataMark))
            names.emplace_back(*name);
    std::partition(names.begin(), names.end(), [](const auto& name) { return !has(name, expireMark); });
    return folder.error() == 0 ? std::optional(std::move(names)) : std::nullopt;
}

void FileSearch_ManagerImpl::deleteFile(const char* who, const std::string& name) const {
    DEBUG_LOG("%s delete file: %s\n", who, name.c_str());
    File_Delete((path_ + '/' + name).c_str());
}

bool FileSearch_ManagerImpl::deleteSearches(std::vector<std::string> tokens) {
    // A request can name hundreds of thousands, and there may be as many files.
    std::sort(tokens.begin(), tokens.end());
    const auto isMeant = [&](std::string_view token) {
        return std::binary_search(tokens.begin(), tokens.end(), token, std::less<>());
    };
    const MutexLock lock(mutex_.get());
    bool isActive = false;
    std::erase_if(searches_, [&](const auto& entry) {
        if (!isMeant(entry.first) && !isMeant(tokenOf(entry.first)))
            return false;
        const bool isIdle = entry.second->getAction() == FileSearch_Search::Idle;
        if (!isIdle)
            DEBUG_LOG("FileSearch:: deleteSearches search token action still active: %s\n",
                      entry.first.c_str());
        isActive = isActive || !isIdle;
        return isIdle;
    });
    if (isActive)
        return false;
    const std::optional<std::vector<std::string>> files = dataFiles();
    if (!files)
        return false;
    for (const std::string& name : *files)
        if (isMeant(tokenOf(name)) || isMeant(wholeTokenOf(name)))
            deleteFile("FileSearch:: deleteSearches", name);
    return true;
}

} // namespace

std::unique_ptr<FileSearch_Manager> FileSearch_FactoryAllocateManager() {
    return System_Allocate<FileSearch_Manager, FileSearch_ManagerImpl>();
}
