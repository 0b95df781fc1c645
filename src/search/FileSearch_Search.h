#pragma once

#include "date/System_Date.h"
#include "files/System_FileEvaluator.h"
#include "files/System_TimeWindow.h"
#include "model/Auditable_Auditable.h"
#include "predicates/Predicate_Condition.h"
#include "predicates/Predicate_PredicateFactory.h"
#include "predicates/SystemPredicate_DataSourceFSO.h"
#include "search/FileSearch_Handlers.h"
#include "search/FileSearch_ResultWriter.h"
#include "search/FileSearch_VolumeStat.h"
#include "threads/Thread_Mutex.h"
#include "threads/Thread_Terminatable.h"
#include "xml/Xerces_Types.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>

class System_AuditFailures;
class System_FileIterator;

/// One file search: what is looked for, the walk over each volume, and the stored hits. A new object that
/// knows a token only serves to read what an earlier agent has stored.
///
/// `setPath`, then either `parseSearchCriteria`, `createNewFileSearch`, `prepareForAudit`, `audit`,
/// `cleanupAfterAudit`, or `parseResultsCriteria`, `serializeResults`; an object that has been through either
/// serves further pages by `takePage`, `serializeResults`. One thread at a time searches or reads a page,
/// which is what the action is for: who wants to do either looks at it, sets it and starts, under a lock of
/// its own. Meanwhile other threads may call the operations on action, reference and expiry,
/// `serializeSummary`, and `setToTerminate`, which a search sees within a thousand entries or a second.
class FileSearch_Search : public Auditable_Auditable,
                          public System_FileEvaluator,
                          public System_IterationTerminator,
                          public Thread_Terminatable {
public:
    enum Action : int { Searching = 1, ReadingResults = 2, Idle = 3 };

    FileSearch_Search();

    /// The directory of the results.
    void setPath(const char* path) { path_ = path != nullptr ? path : ""; }
    /// With "_" and the host target behind what the request named, if there is one.
    const std::string& getToken() const { return token_; }
    std::uint64_t getAccountId() const { return accountId_; }
    Action getAction();
    void setAction(Action action);
    /// What separates the components of a path. Null sets "/".
    void setEvalFileDelim(const char* delimiter) { evalFileDelim_ = delimiter != nullptr ? delimiter : "/"; }
    const std::string& getEvalFileDelim() const { return evalFileDelim_; }
    /// Borrowed until another one is registered; null for none.
    void registerProgressHandler(FileSearch_ProgressHandler* handler) { progressHandler_ = handler; }
    void registerAuditFailureHandler(System_AuditFailures* failures);
    void refreshLastReferenced();

    /// Takes the children of a request's Method element. False if something is missing, the condition cannot
    /// be read, or the token cannot name files; then there are no volumes.
    bool parseSearchCriteria(xercesc::DOMElement* method);
    /// Takes the request of a page. False likewise.
    bool parseResultsCriteria(xercesc::DOMElement* method);
    /// Takes the page that `request` has parsed, and nothing else of it.
    void takePage(const FileSearch_Search& request);
    /// False for null. Hits are stored with all that is known of them.
    bool setFSORequirements(System_FileSystemObject* fso) const;
    /// Whether directories are to be offered when what lies below them is known, which takes more memory.
    bool isRecursiveSearchRequired() const;
    /// Whether there are files of the token, or of the token and the volume of a page.
    bool checkSearchExistence(bool& exists) const;
    bool checkLookupExistence(bool& exists) const;
    /// About how many bytes it holds when its audit is over.
    std::size_t memoryHeld() const { return memoryHeld_; }
    /// Makes the file that stands for the search until it expires.
    bool createNewFileSearch();
    /// Whether nobody has referred to this object for half an hour.
    bool isExpired(bool& expired);
    /// The files of every volume and, at last, that of the search.
    bool deleteSearchFiles();

    bool prepareForAudit() override;
    /// Walks the volumes one after another. A volume that fails is told to the progress handler and recorded
    /// in the failures, and the others are walked. False if there is nothing to walk with.
    bool audit() override;
    bool cleanupAfterAudit() override;
    bool evaluateFile(System_FileSystemObject* fso, System_Date* sDay, System_Date* eDay) override;
    bool terminateIteration(bool& terminate) override;

    /// Writes the page of the last `parseResultsCriteria`. False if the volume has no results, one of them is
    /// damaged, they are too much for one reply, or a stop is asked for; then nothing hangs on `parent`.
    bool serializeResults(xercesc::DOMDocument* document, xercesc::DOMElement* parent);
    /// Writes token, volumes and failures. False while the search is under way.
    bool serializeSummary(xercesc::DOMDocument* document, xercesc::DOMElement* parent);

private:
    using Volumes = std::map<std::string, std::unique_ptr<FileSearch_VolumeStat>>;

    /// How the walk of a volume has ended.
    struct Outcome {
        bool isFailed = false;
        FileSearchProgressStatus status = FileSearchProgressStatus::OK;
    };

    bool takeToken(const std::string& text);
    bool parseVolumes(const xercesc::DOMElement& volumes);
    bool searchVolumes(System_FileIterator& iterator);
    Outcome searchVolume(System_FileIterator& iterator);
    bool walk(System_FileIterator& iterator, FileSearchProgressStatus& status);
    void tellProgress(FileSearchProgressStatus status);
    bool examine(System_FileSystemObject& fso, System_Date& sDay, System_Date& eDay);
    std::optional<bool> matches(System_FileSystemObject& fso);
    bool writePage(xercesc::DOMElement& results);
    bool refreshExpireFile();

    std::string path_;
    Action action_ = Idle;
    /// Guards the action, and the failures against a summary that is asked for by the runner of an earlier
    /// search of this token.
    Thread_Mutex actionMutex_;
    std::string evalFileDelim_ = "/";
    std::string token_;
    std::string hostTarget_;
    std::uint64_t accountId_ = 0;
    std::size_t memoryHeld_ = 0;
    SystemPredicate_DataSourceFSO dataSourceFSO_;
    Predicate_DataSourceMap dataSourceMap_;
    Predicate_PredicateFactory predicateFactory_;
    Predicate_Condition condition_;
    Volumes volumeStats_;

    /// Of the volume that is being walked.
    FileSearch_VolumeStat* curVolStat_ = nullptr;
    FileSearch_ResultWriter results_;
    System_TimeWindow window_;
    bool isWriteFailed_ = false;
    bool isMapMode_ = false;
    FileSearch_ProgressHandler* progressHandler_ = nullptr;
    System_AuditFailures* auditFailures_ = nullptr;
    std::chrono::nanoseconds nextProgressTime_{0};
    std::chrono::nanoseconds nextStopCheck_{0};

    std::string lookupVolume_;
    std::uint64_t startIndex_ = 0;
    std::uint64_t numResults_;

    std::unique_ptr<System_Date> lastReferenced_ = System_FactoryAllocateDate();
    Thread_Mutex referenceMutex_;
};
