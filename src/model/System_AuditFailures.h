#pragma once

#include "model/System_ObjectTypePair.h"
#include "xml/Xerces_Types.h"

#include <cstdint>
#include <map>
#include <string>

/// The items that an audit could not finish, which travel beside its result. Bounded, so that a host on which
/// everything fails cannot fill the memory. Used by one thread at a time; nothing throws.
class System_AuditFailures {
public:
    System_AuditFailures() = default;
    System_AuditFailures(const System_AuditFailures&) = delete;
    System_AuditFailures& operator=(const System_AuditFailures&) = delete;
    virtual ~System_AuditFailures() = default;

    /// `type` is a System_Object::StorageType. A name that was recorded before keeps its first type. False if
    /// `name` is null or the list is full.
    virtual bool record(const char* name, int type);
    /// Writes the items in the order of their names below "AuditFailedItems" and appends that to `parent`;
    /// nothing if there are none.
    virtual bool serialize(xercesc::DOMDocument* document, xercesc::DOMElement* parent,
                           xercesc::DOMElement* element);
    void deallocateFailures() {
        failures_.clear();
        length_ = 0;
    }
    /// How many were refused since the list was full.
    std::uint64_t getUnrecorded() const { return unrecorded_; }

private:
    std::map<std::string, System_ObjectTypePair, std::less<>> failures_;
    std::size_t length_ = 0; ///< of their names
    std::uint64_t unrecorded_ = 0;
};
