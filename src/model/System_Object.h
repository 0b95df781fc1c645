#pragma once

#include "model/Auditable_Auditable.h"
#include "model/Storage_Tables.h"
#include "xml/XMLSerializable_Attributes.h"
#include "xml/XMLSerializable_XMLSerializable.h"

#include <cstdint>
#include <string>
#include <vector>

class System_AuditFailures;

/// Bits of what an object writes.
using System_SerializeOptions = unsigned;
/// The object writes its own attributes and appends its element to the parent.
constexpr System_SerializeOptions System_SerializeSelf = 1;

/// Base of every storage object: its identity, how real it is, how it is built, and its sizes, which are
/// bytes.
///
/// The XML form is one element whose attributes are those of this class and, behind them, those of the class
/// derived from it. Belongs to one thread at a time.
class System_Object : public Auditable_Auditable, public XMLSerializable_XMLSerializable {
public:
    /// The index into Storage_Type_Strings.
    enum StorageType : int {
        StorageVolume,
        StorageVolumes,
        Plex,
        Plexes,
        ExtentPool,
        ExtentPools,
        DriveExtent,
        DriveExtents,
        PhysicalDrive,
        PhysicalDrives,
        HostSystem,
        OS,
        Machine,
        FSO,
        Share,
        StorageAssociations,
        LVMGroup
    };

    virtual StorageType getStorageType() const = 0;
    virtual System_SerializeOptions getSerializationOptions() const { return serializationOptions_; }
    virtual void setSerializationOptions(System_SerializeOptions options) { serializationOptions_ = options; }
    /// The identifier that the server gave the object; 0 for none.
    virtual unsigned long long getNXId() const { return nxId_; }
    virtual void setNXId(unsigned long long id) { nxId_ = id; }
    virtual bool getNXIdRequired() const { return nxIdRequired_; }
    virtual void setNXIdRequired(bool required) { nxIdRequired_ = required; }
    virtual bool getRecursive() const { return recursive_; }
    virtual void setRecursive(bool recursive) { recursive_ = recursive; }
    virtual bool getAllAttributes() const { return allAttributes_; }
    virtual void setAllAttributes(bool all) { allAttributes_ = all; }
    virtual bool getSubObject() const { return subObject_; }
    virtual void setSubObject(bool subObject) { subObject_ = subObject; }
    /// Copies what the object is, and the request flag `recursive`; not its id, its options, its failure
    /// handler or how far its audit has come. A placeholder starts as such a copy of what it stands in front
    /// of.
    virtual System_Object& operator=(const System_Object& other);
    /// Adds this object's elements of a request to two counters that the caller has set.
    virtual void getNumParseElements(int& required, int& total) const;
    /// `failures` is borrowed and outlives the audit; null for none.
    virtual void registerAuditFailureHandler(System_AuditFailures* failures) { auditFailures_ = failures; }
    /// `object` is borrowed; parseElements copies this object into it.
    virtual void setParseDefault(System_Object* object) { parseDefault_ = object; }
    /// Reads the form that a request has: the children "NXId", "NXIdReq", "Recursive" and "AllAttrs" of
    /// `element`. False if one of them is empty or a required id is missing.
    virtual bool parseElements(xercesc::DOMElement* element);
    bool parse(xercesc::DOMElement* element) override;
    /// Writes the attributes of this class into `element`, which must not be null, and leaves `parent` alone.
    bool serialize(xercesc::DOMDocument* document, xercesc::DOMElement* parent,
                   xercesc::DOMElement* element) override;

    /// The identity inside a collection.
    const std::string& getName() const { return name_; }
    /// Null sets the empty text.
    void setName(const char* name) { name_ = textOf(name); }
    Storage_Physicality getPhysicality() const { return physicality_; }
    void setPhysicality(Storage_Physicality physicality) { physicality_ = physicality; }
    Storage_ExistentialQuantifier getExistence() const { return existence_; }
    void setExistence(Storage_ExistentialQuantifier existence) { existence_ = existence; }
    Storage_VirtualMechanism getVirtualMechanism() const { return virtualMechanism_; }
    void setVirtualMechanism(Storage_VirtualMechanism mechanism) { virtualMechanism_ = mechanism; }
    bool getIsPartOfStripeSet() const { return isPartOfStripeSet_; }
    void setIsPartOfStripeSet(bool isPart) { isPartOfStripeSet_ = isPart; }
    bool getIsPartOfMirrorSet() const { return isPartOfMirrorSet_; }
    void setIsPartOfMirrorSet(bool isPart) { isPartOfMirrorSet_ = isPart; }
    bool getIsPartOfConcatenationSet() const { return isPartOfConcatenationSet_; }
    void setIsPartOfConcatenationSet(bool isPart) { isPartOfConcatenationSet_ = isPart; }
    /// -1 for none.
    std::int32_t getConcatenationOrdinal() const { return concatenationOrdinal_; }
    void setConcatenationOrdinal(std::int32_t ordinal) { concatenationOrdinal_ = ordinal; }
    std::uint64_t getAllocatedBytes() const { return allocatedBytes_; }
    void setAllocatedBytes(std::uint64_t bytes) { allocatedBytes_ = bytes; }
    std::uint64_t getOffsetBytes() const { return offsetBytes_; }
    void setOffsetBytes(std::uint64_t bytes) { offsetBytes_ = bytes; }
    std::uint64_t getTotalBytes() const { return totalBytes_; }
    void setTotalBytes(std::uint64_t bytes) { totalBytes_ = bytes; }
    std::vector<Storage_Composition>& getComposition() { return composition_; }
    const std::vector<Storage_Composition>& getComposition() const { return composition_; }
    /// A value that is there already is not added again.
    void addComposition(Storage_Composition composition);
    /// The mirrored object is borrowed; null for none.
    void setMirrorOf(const System_Object* object) { mirrorOf_ = object; }
    /// The name of the mirrored object as it is written: that of the object, or else the one that was parsed.
    const std::string& getMirrorOfName() const;

protected:
    System_Object() = default;

    System_AuditFailures* getAuditFailures() const { return auditFailures_; }
    /// For setters that take null as the empty text.
    static const char* textOf(const char* text) { return text != nullptr ? text : ""; }

private:
    static XMLSerializable_Table<System_Object> commonAttributes();
    void setMirrorOfName(const char* name) { mirrorOfName_ = name; }

    System_SerializeOptions serializationOptions_ = System_SerializeSelf;
    std::uint64_t nxId_ = 0;
    bool nxIdRequired_ = false;
    bool recursive_ = false;
    bool allAttributes_ = false;
    bool subObject_ = false;
    System_Object* parseDefault_ = nullptr;
    std::string name_;
    Storage_Physicality physicality_ = Physicality_Physical;
    System_AuditFailures* auditFailures_ = nullptr;
    Storage_ExistentialQuantifier existence_ = Existence_True;
    std::vector<Storage_Composition> composition_;
    Storage_VirtualMechanism virtualMechanism_ = VirtualMechanism_None;
    bool isPartOfStripeSet_ = false;
    bool isPartOfMirrorSet_ = false;
    bool isPartOfConcatenationSet_ = false;
    std::int32_t concatenationOrdinal_ = -1;
    std::uint64_t allocatedBytes_ = 0;
    std::uint64_t offsetBytes_ = 0;
    std::uint64_t totalBytes_ = 0;
    const System_Object* mirrorOf_ = nullptr;
    std::string mirrorOfName_;
};
