#pragma once

#include "model/Auditable_TryAudit.h"
#include "model/Storage_Collection.h"
#include "model/Storage_Tables.h"
#include "model/System_Object.h"
#include "xml/XMLSerializable_Element.h"
#include "xml/Xerces_Document.h"

#include <map>
#include <memory>
#include <string>
#include <utility>

/// What became of a member that was to be audited and taken in.
enum class Storage_Admission { Inserted, AlreadyThere, Failed };

/// The objects of one level by their names: the collection owns them, a name exists once, and they come out
/// sorted by name.
///
/// The collections differ only in the class of their members, which has a constant `storageType`, in their
/// own type, and in the factory of members, which gives null when memory is short. The elements of the form
/// are the rows of Storage_Type_Strings for the two types.
template <typename MemberClass, System_Object::StorageType collectionType,
          std::unique_ptr<MemberClass> (*allocateMember)()>
class Storage_MapCollection : public Storage_Collection {
public:
    using Member = MemberClass;
    using Map = std::map<std::string, std::unique_ptr<Member>, std::less<>>;
    static constexpr System_Object::StorageType storageType = collectionType;

    Map& getMap() { return members_; }
    const Map& getMap() const { return members_; }

    /// Takes the member in under its name. If that name is there already, the new member goes and the result
    /// is false.
    bool insert(std::unique_ptr<Member> member) {
        std::string name = member->getName();
        return members_.try_emplace(std::move(name), std::move(member)).second;
    }

    /// Audits the member, on the host of the collection, and takes it in. One whose name is there already is
    /// not audited and goes; one that cannot be audited is cleaned up and goes.
    Storage_Admission auditAndInsert(std::unique_ptr<Member> member) {
        if (members_.contains(member->getName()))
            return Storage_Admission::AlreadyThere;
        member->setHost(getHost());
        if (!Auditable_TryAudit(*member)) {
            member->cleanupAfterAudit();
            return Storage_Admission::Failed;
        }
        return insert(std::move(member)) ? Storage_Admission::Inserted : Storage_Admission::AlreadyThere;
    }

    /// The name under which this level, being absent, is present for the object of that name:
    /// "NULLPlex_/dev/sda1".
    static std::string placeholderName(const std::string& name) {
        return std::string("NULL") + Storage_Type_Strings[Member::storageType] + '_' + name;
    }

    /// A member that stands for this level where `object` has none. It starts as a copy of what the two have
    /// in common, sizes included. Null when memory is short.
    static std::unique_ptr<Member> makePlaceholder(const System_Object& object) {
        std::unique_ptr<Member> placeholder = allocateMember();
        if (placeholder) {
            placeholder->System_Object::operator=(object);
            placeholder->setName(placeholderName(object.getName()).c_str());
            placeholder->setExistence(Existence_False);
            placeholder->setPhysicality(Physicality_Logical);
        }
        return placeholder;
    }

    /// Deletes the members. Each collection has a name of its own for this.
    virtual void deallocateMap() { members_.clear(); }

    bool prepareForAudit() override { return true; }

    /// Leaves the collection empty.
    bool cleanupAfterAudit() override {
        for (const auto& entry : members_)
            entry.second->cleanupAfterAudit();
        deallocateMap();
        return true;
    }

    /// Leaves the collection empty after a failure.
    bool parse(xercesc::DOMElement* element) override {
        const bool parsed =
            element != nullptr && XMLSerializable_Attempt([&] { return parseMembers(*element); });
        if (!parsed)
            deallocateMap();
        return parsed;
    }

    bool serialize(xercesc::DOMDocument* document, xercesc::DOMElement* parent,
                   xercesc::DOMElement* element) override {
        return XMLSerializable_Attempt([&] {
            XMLSerializable_Element form(document, element, Storage_Type_Strings[storageType]);
            for (const auto& entry : members_)
                if (!entry.second->serialize(document, form.get(), nullptr))
                    return false;
            form.appendTo(parent);
            return true;
        });
    }

private:
    bool parseMembers(const xercesc::DOMElement& element) {
        if (Xerces_TagName(element) != Storage_Type_Strings[storageType])
            return false;
        for (xercesc::DOMElement* child :
             Xerces_ChildElements(element, Storage_Type_Strings[Member::storageType])) {
            std::unique_ptr<Member> member = allocateMember();
            if (!member || !member->parse(child))
                return false;
            insert(std::move(member));
        }
        return true;
    }

    Map members_;
};
