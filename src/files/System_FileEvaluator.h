#pragma once

class System_Date;
class System_FileSystemObject;

/// Who is offered each entry of a walk.
class System_FileEvaluator {
public:
    virtual ~System_FileEvaluator() = default;

    /// `fso` and the dates, between which a time counts as recent, are valid for the call only. False is a
    /// failure of that entry; the walk goes on.
    virtual bool evaluateFile(System_FileSystemObject* fso, System_Date* sDay, System_Date* eDay) = 0;
};

/// Who may end a walk.
class System_IterationTerminator {
public:
    virtual ~System_IterationTerminator() = default;

    /// True ends the walk at once; then `terminate` says whether the walk has succeeded.
    virtual bool terminateIteration(bool& terminate) = 0;
};
