#include "search/FileSearch_Search.h"

#include "base/File_Operations.h"
#include "files/System_FileIterator.h"
#include "log/Debug_Printf.h"
#include "model/System_AuditFailures.h"
#include "search/FileSearch_ExpireFile.h"
#include "search/FileSearch_ResultPath.h"
#include "threads/MutexLock.h"
#include "xml/XMLSerializable_Element.h"
#include "xml/Xerces_Document.h"

#include <algorithm>
#include <climits>
#include <ctime>
#include <strings.h>

namespace {

constexpr std::chrono::seconds progressInterval{25};
/// A stop is seen after so many objects, or as long, whichever comes first.
constexpr std::uint64_t objectsBetweenStopChecks = 1000;
constexpr std::chrono::seconds timeBetweenStopChecks{1};
constexpr unsigned minutesInMemory = 30;
constexpr std::uint64_t usualPage = 100;
/// Records of a page that are read into a document together.
constexpr std::uint64_t recordsAtOnce = 250;
/// Of the records of a page, in bytes: the reply takes about ten times as much memory while it is made.
constexpr std::size_t largestPage = std::size_t{64} * 1024 * 1024;
constexpr const char* hitElement = "FSO";
/// What a request may say of volumes, which is kept for hours after the search: more than any host has.
constexpr std::size_t mostVolumes = 10'000;
constexpr std::size_t mostVolumeText = std::size_t{1} << 20;

/// Of a clock that nobody sets and that costs little to look at.
std::chrono::nanoseconds now() {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &time);
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

const char* textOf(const char* text) {
    return text != nullptr ? text : "";
}

/// Nothing if there is no such element with a text.
std::optional<std::string> childText(const xercesc::DOMElement& parent, const char* name) {
    const auto found = Xerces_ChildElements(parent, name);
    std::optional<std::string> text = found.empty() ? std::nullopt : Xerces_FirstText(*found.front());
    return text && !text->empty() ? text : std::nullopt;
}

/// Leaves `number` alone if there is no such element. False if there is one without a text.
bool readNumber(const xercesc::DOMElement& method, const char* name, std::uint64_t& number) {
    const xercesc::DOMElement* element = Xerces_FirstDescendant(method, name);
    if (element == nullptr)
        return true;
    const std::optional<std::string> text = Xerces_FirstText(*element);
    if (!text || text->empty())
        return false;
    number = XMLSerializable_ReadUnsigned(*text);
    return true;
}

std::string descendantText(const xercesc::DOMElement& method, const char* name) {
    const xercesc::DOMElement* element = Xerces_FirstDescendant(method, name);
    return element != nullptr ? Xerces_FirstText(*element).value_or("") : "";
}

/// Nothing if the object lacks a date.
std::optional<FileSearch_VolumeStat::Entry> entryOf(const System_FileSystemObject& fso,
                                                    const System_TimeWindow& window) {
    const std::optional<bool> isModified = fso.isModifiedWithin(window);
    const std::optional<bool> isAccessed = fso.isAccessedWithin(window);
    if (!isModified || !isAccessed)
        return std::nullopt;
    FileSearch_VolumeStat::Entry entry;
    entry.isDirectory = fso.getIsDirectory();
    entry.isArchived = (fso.getAttributeFlag() & System_FileSystemObject::Archived) != 0;
    entry.isModified = *isModified;
    // Looking at a link changes its access time.
    entry.isAccessed = *isAccessed && (entry.isDirectory || !fso.getIsSoftLink());
    return entry;
}

} // namespace

const char* FileSearchProgressStatus_String(FileSearchProgressStatus status) {
    switch (status) {
    case FileSearchProgressStatus::OK:
        return "OK";
    case FileSearchProgressStatus::Error:
        break;
    case FileSearchProgressStatus::ErrorWrite:
        return "Error_Write";
    case FileSearchProgressStatus::ErrorAccess:
        return "Error_Access";
    }
    return "Error";
}

FileSearch_Search::FileSearch_Search() : dataSourceMap_{{"", &dataSourceFSO_}}, numResults_(usualPage) {
    condition_.registerDataSourceMap(&dataSourceMap_);
    condition_.registerPredicateFactory(&predicateFactory_);
}

FileSearch_Search::Action FileSearch_Search::getAction() {
    const MutexLock lock(actionMutex_.get());
    return action_;
}

void FileSearch_Search::setAction(Action action) {
    const MutexLock lock(actionMutex_.get());
    action_ = action;
}

void FileSearch_Search::registerAuditFailureHandler(System_AuditFailures* failures) {
    const MutexLock lock(actionMutex_.get());
    auditFailures_ = failures;
}

void FileSearch_Search::refreshLastReferenced() {
    const MutexLock lock(referenceMutex_.get());
    lastReferenced_->setToCurrentTime();
}

bool FileSearch_Search::takeToken(const std::string& text) {
    hostTarget_ = textOf(getAuditParameterValue("hostTarget"));
    token_ = FileSearch_Token(text, hostTarget_);
    memoryHeld_ = sizeof *this + PATH_MAX + 4 * token_.size();
    return FileSearch_IsToken(token_);
}

bool FileSearch_Search::parseSearchCriteria(xercesc::DOMElement* method) {
    refreshLastReferenced();
    const bool isParsed = method != nullptr && XMLSerializable_Attempt([&] {
                              const auto conditions = Xerces_ChildElements(*method, "Condition");
                              const auto volumes = Xerces_ChildElements(*method, "Volumes");
                              const std::optional<std::string> token = childText(*method, "Token");
                              const std::optional<std::string> account = childText(*method, "AccountID");
                              if (conditions.empty() || volumes.empty() || !token || !account)
                                  return false;
                              accountId_ = XMLSerializable_ReadUnsigned(*account);
                              return takeToken(*token) && condition_.parse(conditions.front()) &&
                                     parseVolumes(*volumes.front());
                          });
    if (!isParsed) {
        volumeStats_.clear();
        DEBUG_LOG("FileSearch_Search::parseSearchCriteria: exit with error\n");
    }
    return isParsed;
}

bool FileSearch_Search::parseVolumes(const xercesc::DOMElement& volumes) {
    std::size_t text = 0;
    for (xercesc::DOMElement* element : Xerces_ChildElements(volumes)) {
        auto stat = std::make_unique<FileSearch_VolumeStat>();
        if (stat->parse(element)) {
            const std::string name = stat->getName();
            text += name.size();
            volumeStats_.try_emplace(name, std::move(stat));
            if (text > mostVolumeText || volumeStats_.size() > mostVolumes)
                return false;
        } else {
            DEBUG_LOG("FileSearch_Search::parseSearchCriteria: parse error\n");
        }
    }
    memoryHeld_ += 2 * text + volumeStats_.size() * sizeof(FileSearch_VolumeStat);
    return true;
}

bool FileSearch_Search::parseResultsCriteria(xercesc::DOMElement* method) {
    const bool isParsed = method != nullptr && XMLSerializable_Attempt([&] {
                              const std::string token = descendantText(*method, "Token");
                              lookupVolume_ = descendantText(*method, "Volume");
                              startIndex_ = 0;
                              numResults_ = usualPage;
                              return !token.empty() && !lookupVolume_.empty() &&
                                     lookupVolume_.size() < PATH_MAX && takeToken(token) &&
                                     readNumber(*method, "StartIndex", startIndex_) &&
                                     readNumber(*method, "NumResults", numResults_);
                          });
    if (!isParsed)
        DEBUG_LOG("FileSearch_Search::parseResultsCriteria: exit with error\n");
    return isParsed;
}

void FileSearch_Search::takePage(const FileSearch_Search& request) {
    lookupVolume_ = request.lookupVolume_;
    startIndex_ = request.startIndex_;
    numResults_ = request.numResults_;
}

bool FileSearch_Search::setFSORequirements(System_FileSystemObject* fso) const {
    if (fso != nullptr)
        fso->setAllAttributes(true);
    return fso != nullptr;
}

bool FileSearch_Search::isRecursiveSearchRequired() const {
    return condition_.isValueNameReferenced("isdir", "true");
}

bool FileSearch_Search::checkSearchExistence(bool& exists) const {
    FileSearch_ExpireFile file;
    return file.setPath(token_.c_str(), path_.c_str()) && file.doesFileExist(exists);
}

bool FileSearch_Search::checkLookupExistence(bool& exists) const {
    FileSearch_RecordFile file;
    return file.setPath(token_.c_str(), lookupVolume_.c_str(), path_.c_str()) && file.doesFileExist(exists);
}

bool FileSearch_Search::createNewFileSearch() {
    FileSearch_ExpireFile file;
    if (!file.setPath(token_.c_str(), path_.c_str()) || !file.openFile())
        return false;
    const bool isMade = XMLSerializable_Attempt([&] { return file.createNewFile(); });
    // A disk that is full for a moment is not to take the token for days.
    if (!isMade)
        File_Delete(file.getPath().c_str());
    return isMade;
}

/// A page keeps the files for as long again. Should the file have been lost, there is one again.
bool FileSearch_Search::refreshExpireFile() {
    bool exists = false;
    if (!checkSearchExistence(exists))
        return false;
    if (!exists)
        return createNewFileSearch();
    FileSearch_ExpireFile file;
    return file.setPath(token_.c_str(), path_.c_str()) && file.openFile() && file.refreshFile();
}

bool FileSearch_Search::isExpired(bool& expired) {
    const MutexLock lock(referenceMutex_.get());
    expired = false;
    const std::unique_ptr<System_Date> limit = System_FactoryAllocateDate();
    if (!limit->setToCurrentTime())
        return false;
    if (lastReferenced_->isZeroTime()) {
        *lastReferenced_ = *limit;
        return true;
    }
    if (!limit->subtractMinutes(minutesInMemory))
        return false;
    expired = *lastReferenced_ < *limit;
    return true;
}

bool FileSearch_Search::deleteSearchFiles() {
    bool isDone = true;
    const auto remove = [&](auto&& file, auto... name) {
        bool exists = false;
        if (file.setPath(token_.c_str(), name..., path_.c_str()) && file.doesFileExist(exists) && exists)
            isDone = File_Delete(file.getPath().c_str()) && isDone;
    };
    for (const auto& [name, stat] : volumeStats_) {
        remove(FileSearch_RecordFile(), name.c_str());
        remove(FileSearch_OffsetFile(), name.c_str());
    }
    remove(FileSearch_ExpireFile());
    return isDone;
}

bool FileSearch_Search::prepareForAudit() {
    refreshLastReferenced();
    const bool isWindows = strcasecmp(textOf(getAuditParameterValue("fsType")), "cifs") == 0;
    setEvalFileDelim(isWindows ? "\\" : "/");
    return true;
}

bool FileSearch_Search::cleanupAfterAudit() {
    refreshLastReferenced();
    return true;
}

bool FileSearch_Search::audit() {
    DEBUG_LOG("FileSearch_Search::audit\n");
    refreshLastReferenced();
    nextProgressTime_ = now() + progressInterval;
    const bool isDone = XMLSerializable_Attempt([&] {
        const std::unique_ptr<System_FileIterator> iterator = System_FactoryAllocateFileIterator();
        return iterator != nullptr && iterator->copyAuditParameters(this) && searchVolumes(*iterator);
    });
    curVolStat_ = nullptr;
    // The search may be known for hours yet, and many are. A password is no longer needed either.
    condition_.clear();
    dropAuditParameters();
    if (isDone) {
        DEBUG_LOG("FileSearch_Search::audit successful\n");
    } else {
        DEBUG_LOG("FileSearch_Search::audit exit with error\n");
        XMLSerializable_Attempt([&] {
            results_.close();
            return deleteSearchFiles();
        });
    }
    setAction(Idle);
    setAuditResult(isDone);
    return isDone;
}

bool FileSearch_Search::searchVolumes(System_FileIterator& iterator) {
    hostTarget_ = textOf(getAuditParameterValue("hostTarget"));
    isMapMode_ = isRecursiveSearchRequired();
    iterator.setFSOMapRequired(isMapMode_);
    for (const auto& [name, stat] : volumeStats_) {
        if (!stat)
            return false;
        curVolStat_ = stat.get();
        DEBUG_LOG("FileSearch_Search::audit: volume stat %s\n", name.c_str());
        const Outcome outcome = searchVolume(iterator);
        if (isToldToTerminate()) {
            results_.close();
            deleteSearchFiles();
            break;
        }
        tellProgress(outcome.status);
        if (outcome.isFailed && auditFailures_ != nullptr)
            auditFailures_->record(name.c_str(), System_Object::StorageVolume);
        results_.close();
    }
    if (auditFailures_ != nullptr && auditFailures_->getUnrecorded() != 0)
        DEBUG_LOG("FileSearch_Search::audit: %llu failures more than can be told\n",
                  static_cast<unsigned long long>(auditFailures_->getUnrecorded()));
    return true;
}

/// A volume of which hits are lost has failed, but what is stored can be read.
FileSearch_Search::Outcome FileSearch_Search::searchVolume(System_FileIterator& iterator) {
    constexpr Outcome writeFailed{true, FileSearchProgressStatus::ErrorWrite};
    isWriteFailed_ = false;
    if (!results_.begin(token_, path_, *curVolStat_))
        return writeFailed;
    Outcome outcome;
    outcome.isFailed = !walk(iterator, outcome.status);
    if (iterator.getUnopenedFolders() != 0)
        DEBUG_LOG("FileSearch_Search::audit: %llu directories of %s could not be opened\n",
                  static_cast<unsigned long long>(iterator.getUnopenedFolders()),
                  curVolStat_->getName().c_str());
    if (outcome.isFailed)
        return outcome;
    const bool isComplete = results_.endRecords() && !isWriteFailed_;
    return results_.writeOffsets() && isComplete ? outcome : writeFailed;
}

bool FileSearch_Search::walk(System_FileIterator& iterator, FileSearchProgressStatus& status) {
    const char* const name = curVolStat_->getName().c_str();
    nextStopCheck_ = now() + timeBetweenStopChecks;
    try {
        iterator.registerAuditFailureHandler(auditFailures_);
        iterator.registerPath(name);
        iterator.registerFileEvaluator(this);
        iterator.registerIterationTerminator(this);
        const bool isWalked = iterator.prepareForAudit() && iterator.audit();
        if (iterator.cleanupAfterAudit() && isWalked)
            return true;
        DEBUG_LOG("FileSearch_Search::audit: failed file iterater audit %s\n", name);
        status = FileSearchProgressStatus::ErrorAccess;
    } catch (...) {
        DEBUG_LOG("FileSearch_Search::audit: exception thrown file iterator audit %s\n", name);
        status = FileSearchProgressStatus::Error;
    }
    return false;
}

void FileSearch_Search::tellProgress(FileSearchProgressStatus status) {
    bool delivered = false;
    if (progressHandler_ != nullptr)
        progressHandler_->handleSearchProgress(
            token_.c_str(), curVolStat_->getNXId(), curVolStat_->getNumFiles(), curVolStat_->getNumDirs(),
            delivered, status, hostTarget_.empty() ? nullptr : hostTarget_.c_str());
}

bool FileSearch_Search::terminateIteration(bool& terminate) {
    terminate = false;
    const std::uint64_t objects = curVolStat_->getNumFiles() + curVolStat_->getNumDirs();
    const std::chrono::nanoseconds time = now();
    if (objects % objectsBetweenStopChecks != 0 && time < nextStopCheck_)
        return false;
    nextStopCheck_ = time + timeBetweenStopChecks;
    return isToldToTerminate();
}

bool FileSearch_Search::evaluateFile(System_FileSystemObject* fso, System_Date* sDay, System_Date* eDay) {
    if (fso == nullptr)
        DEBUG_LOG("FileSearch_Search::evaluateFile: fso is NULL\n");
    else if (curVolStat_ == nullptr)
        DEBUG_LOG("FileSearch_Search::evaluateFile: curVolStat is NULL\n");
    else if (fso->getSearchHit() || (sDay != nullptr && eDay != nullptr && examine(*fso, *sDay, *eDay)))
        return true;
    DEBUG_LOG("FileSearch_Search::evaluateFile exit with error\n");
    return false;
}

/// Counts an object that is met for the first time and stores it if it is a hit.
bool FileSearch_Search::examine(System_FileSystemObject& fso, System_Date& sDay, System_Date& eDay) {
    const std::optional<bool> isHit = matches(fso);
    if (!isHit)
        return false;
    window_.set(sDay, eDay);
    std::optional<FileSearch_VolumeStat::Entry> entry = entryOf(fso, window_);
    if (!entry)
        return false;
    curVolStat_->countEntry(*entry);
    if (!entry->isDirectory) {
        // The walk adds up the last two.
        fso.setNumFilesArchived(entry->isArchived ? 1 : 0);
        fso.setNumFilesModified(entry->isModified ? 1 : 0);
        fso.setNumFilesAccessed(entry->isAccessed ? 1 : 0);
    }
    if (isMapMode_ && entry->isDirectory)
        entry->size = curVolStat_->coverDirectory(fso.getPath(), fso.getParentDirPath(),
                                                  fso.getSizeRecursive(), *isHit);
    FileSearchProgressStatus status = FileSearchProgressStatus::OK;
    if (*isHit) {
        setFSORequirements(&fso);
        fso.setSearchHit(true);
        if (!entry->isDirectory)
            entry->size = fso.getSize();
        if (isMapMode_ && !entry->isDirectory)
            curVolStat_->coverFile(fso.getParentDirPath(), entry->size);
        if (!results_.add(fso, *entry)) {
            DEBUG_LOG("FileSearch_Search::evaluateFile: failed write resultFile %s\n", fso.getPath());
            isWriteFailed_ = true;
            status = FileSearchProgressStatus::ErrorWrite;
        }
    }
    if (nextProgressTime_ <= now()) {
        tellProgress(status);
        nextProgressTime_ = now() + progressInterval;
    }
    return true;
}

/// Nothing if the condition cannot be tested on the object.
std::optional<bool> FileSearch_Search::matches(System_FileSystemObject& fso) {
    dataSourceFSO_.registerFSO(&fso);
    try {
        if (!condition_.copyDataFromSources()) {
            fso.cleanupAfterAudit();
            return std::nullopt;
        }
    } catch (const std::exception& failure) {
        DEBUG_LOG("FileSearch_Search::evaluateFile: exception copyDataFromSources %s\n", failure.what());
        return std::nullopt;
    }
    if (condition_.getPredicateList()->empty() && condition_.getConditionList()->empty())
        return false;
    try {
        return condition_.evaluate();
    } catch (const std::exception&) {
        DEBUG_LOG("FileSearch_Search::evaluateFile: exception on condition evaluate\n");
        return std::nullopt;
    }
}

bool FileSearch_Search::serializeResults(xercesc::DOMDocument* document, xercesc::DOMElement* parent) {
    DEBUG_LOG("FileSearch_Search::serializeResults: '%s'\n", token_.c_str());
    refreshLastReferenced();
    const bool isWritten = document != nullptr && parent != nullptr && XMLSerializable_Attempt([&] {
                               if (!refreshExpireFile())
                                   return false;
                               XMLSerializable_Element results(document, nullptr, "SearchResults");
                               Xerces_SetAttribute(*results, "token", token_);
                               Xerces_SetAttribute(*results, "volumeName", lookupVolume_);
                               Xerces_SetAttribute(*results, "startIndex", std::to_string(startIndex_));
                               Xerces_SetAttribute(*results, "numResults", std::to_string(numResults_));
                               if (!writePage(*results))
                                   return false;
                               results.appendTo(parent);
                               return true;
                           });
    if (!isWritten)
        DEBUG_LOG("FileSearch_Search::serializeResults: exit with error\n");
    setAction(Idle);
    return isWritten;
}

bool FileSearch_Search::writePage(xercesc::DOMElement& results) {
    FileSearch_OffsetFile offsetFile;
    bool exists = false;
    if (!offsetFile.setPath(token_.c_str(), lookupVolume_.c_str(), path_.c_str()) ||
        !offsetFile.doesFileExist(exists) || !exists)
        return false;
    DEBUG_LOG("FileSearch_Search::serializeResults: loading offset file '%s %s'\n", token_.c_str(),
              lookupVolume_.c_str());
    std::vector<std::uint32_t> offsets;
    if (!offsetFile.openFile() || !offsetFile.readOffsets(&offsets, startIndex_, numResults_))
        return false;
    DEBUG_LOG("FileSearch_Search::serializeResults: serializing results '%s %s'\n", token_.c_str(),
              lookupVolume_.c_str());
    FileSearch_RecordFile recordFile;
    if (!recordFile.setPath(token_.c_str(), lookupVolume_.c_str(), path_.c_str()) || !recordFile.openFile() ||
        !recordFile.beginReadingRandomAccess())
        return false;
    FileSearch_Record record;
    std::string text;
    std::size_t length = 0;
    for (std::size_t first = 0; first < offsets.size(); first += recordsAtOnce) {
        if (isToldToTerminate())
            return false;
        const std::size_t last = std::min<std::size_t>(first + recordsAtOnce, offsets.size());
        text.clear();
        for (std::size_t at = first; at < last; ++at) {
            if (!recordFile.readRecordRandom(record, offsets[at]))
                return false;
            length += record.data().size();
            if (length > largestPage)
                return false;
            text += record.data();
        }
        if (Xerces_AppendParsed(results, text, hitElement, "FileSearch_Search::serializeResults") !=
            last - first)
            return false;
    }
    return true;
}

bool FileSearch_Search::serializeSummary(xercesc::DOMDocument* document, xercesc::DOMElement* parent) {
    refreshLastReferenced();
    const MutexLock lock(actionMutex_.get());
    const bool isWritten =
        document != nullptr && parent != nullptr && action_ != Searching && XMLSerializable_Attempt([&] {
            Xerces_AppendText(Xerces_AppendElement(*parent, "Token"), FileSearch_ServerToken(token_));
            xercesc::DOMElement& volumes = Xerces_AppendElement(*parent, "Volumes");
            for (const auto& [name, stat] : volumeStats_)
                if (!stat->serialize(document, &volumes, nullptr))
                    return false;
            return auditFailures_ == nullptr || auditFailures_->serialize(document, parent, nullptr);
        });
    if (!isWritten)
        DEBUG_LOG("FileSearch_Search::serializeSummary: exit with error\n");
    return isWritten;
}
