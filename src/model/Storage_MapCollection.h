#pragma once

#include "model/NX_ObjectCollection.h"
#include "model/XMLSerializable_Element.h"
#include "threads/Thread_Terminatable.h"
#include "xml/Xerces_Document.h"

#include <map>
#include <memory>
#include <string>
#include <utility>

/// A collection whose members are known by their names: it owns them, a name exists once, and they come out
/// sorted by name. The collections of the storage levels differ only in their `Shape`: the type `Member`, a
/// class with getName(), of which the collection holds many; the texts `element` and `memberElement` of the
/// form; and `allocate`, the factory of members, which may give null.
///
/// Only the Thread_Terminatable side may be touched by another thread than the one that audits.
template <typename CollectionShape>
class Storage_MapCollection : public Thread_Terminatable, public NX_ObjectCollection {
public:
    using Shape = CollectionShape;
    using Member = typename Shape::Member;
    using Map = std::map<std::string, std::unique_ptr<Member>, std::less<>>;

    Map& getMap() { return members_; }
    const Map& getMap() const { return members_; }

    /// Takes the member in under its name. If that name is there already, the new member goes and the result
    /// is false.
    bool insert(std::unique_ptr<Member> member) {
        std::string name = member->getName();
        return members_.try_emplace(std::move(name), std::move(member)).second;
    }

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
            XMLSerializable_Element form(document, element, Shape::element);
            for (const auto& entry : members_)
                if (!entry.second->serialize(document, form.get(), nullptr))
                    return false;
            form.appendTo(parent);
            return true;
        });
    }

protected:
    void deallocateMap() { members_.clear(); }

private:
    bool parseMembers(const xercesc::DOMElement& element) {
        if (Xerces_TagName(element) != Shape::element)
            return false;
        for (xercesc::DOMElement* child : Xerces_ChildElements(element, Shape::memberElement)) {
            std::unique_ptr<Member> member = Shape::allocate();
            if (!member || !member->parse(child))
                return false;
            insert(std::move(member));
        }
        return true;
    }

    Map members_;
};
