#pragma once

#include "files/System_FileSystemObject.h"
#include "model/Auditable_Auditable.h"

#include <cstdint>
#include <memory>
#include <string>

/// Walks a directory tree and offers each entry to an evaluator.
///
/// In the plain mode a directory is offered when it is found. In the map mode it is offered when everything
/// below it has been, with the counters of all depths complete. An iterator may run again with another path.
/// What is registered is borrowed. An iterator belongs to one thread; who else wants a walk to end tells its
/// terminator.
class System_FileIterator : public virtual Auditable_Auditable {
public:
    using RecursionLevel = System_FileSystemObject::RecursionLevel;

    /// Null sets the empty path.
    virtual void registerPath(const char* path);
    virtual void registerFileEvaluator(System_FileEvaluator* evaluator) { fileEvaluator_ = evaluator; }
    /// May stay null.
    virtual void registerIterationTerminator(System_IterationTerminator* terminator) {
        iterationTerminator_ = terminator;
    }
    /// Gets the paths of the entries that could not be looked at or were not taken; may stay null.
    virtual void registerAuditFailureHandler(System_AuditFailures* failures) { auditFailures_ = failures; }
    virtual void setFSOMapRequired(bool required) { fsoMapRequired_ = required; }
    virtual void deallocateFsoMap() { fsoRootDir_.reset(); }
    /// Called once for the object that stands for one entry after another. False for null.
    virtual bool setFSORequirements(System_FileSystemObject* fso);

    /// How many directories the last walk found and could not open. They are in the log.
    std::uint64_t getUnopenedFolders() const { return unopenedFolders_; }

    RecursionLevel getRecursionLevel() const { return recursionLevel_; }
    void setRecursionLevel(RecursionLevel level) { recursionLevel_ = level; }

protected:
    /// In the map mode the directories that are not complete, as members of the root of the walk.
    std::unique_ptr<System_FileSystemObject> fsoRootDir_;
    bool fsoMapRequired_ = false;
    std::string path_;
    System_FileEvaluator* fileEvaluator_ = nullptr;
    System_IterationTerminator* iterationTerminator_ = nullptr;
    RecursionLevel recursionLevel_ = System_FileSystemObject::AllDepths;
    System_AuditFailures* auditFailures_ = nullptr;
    std::uint64_t unopenedFolders_ = 0;
};

/// Null when memory is short.
std::unique_ptr<System_FileIterator> System_FactoryAllocateFileIterator();
