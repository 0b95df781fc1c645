#include "files/System_FileSystemObject.h"

#include "files/System_OwnerNames.h"
#include "files/System_TimeWindow.h"
#include "xml/XMLSerializable_Element.h"
#include "xml/Xerces_Serializer.h"

#include <algorithm>
#include <iterator>
#include <strings.h>

namespace {

using Object = System_FileSystemObject;
using Row = XMLSerializable_Attribute<Object>;

constexpr const char* elementName = "FSO";

constexpr System_FSOAttribute text(Row row) {
    return {row.clearedIfAbsent(), "string"};
}

/// A counter, or the size.
template <std::uint64_t (Object::*Get)() const, void (Object::*Set)(std::uint64_t)>
constexpr System_FSOAttribute count(const char* name) {
    return {XMLSerializable_Number<Get, Set>(name).clearedIfAbsent(), "uinteger"};
}

/// Counts what this platform does not have.
template <std::uint64_t (Object::*Get)() const>
constexpr System_FSOAttribute none(const char* name) {
    return {XMLSerializable_Row<Get, nullptr, XMLSerializable_ReadUnsigned>(name), "uinteger"};
}

/// Whoever reads an object that holds no such date has been turned away before.
template <System_Date* (Object::*Get)() const>
constexpr System_FSOAttribute date(const char* name) {
    return {{name,
             [](const Object& object, std::string& scratch) -> XMLSerializable_Value {
                 const System_Date* held = (object.*Get)();
                 scratch.clear();
                 if (held != nullptr && !held->isZeroTime() && !held->serialize(&scratch))
                     scratch.clear();
                 return std::string_view(scratch);
             },
             [](Object& object, const std::string& value) { (object.*Get)()->parse(&value); }},
            "date",
            Get};
}

XMLSerializable_Value existence(const Object& object, std::string&) {
    switch (object.getExists()) {
    case Object::Exists:
        return std::string_view("true");
    case Object::Missing:
        return std::string_view("false");
    default:
        return std::string_view("unknown");
    }
}

void setExistence(Object& object, const std::string& value) {
    object.setExists(value == "true"    ? Object::Exists
                     : value == "false" ? Object::Missing
                                        : Object::ExistenceUnknown);
}

XMLSerializable_Value directoryFlag(const Object& object, std::string&) {
    return object.getIsDirectory();
}

constexpr System_FSOAttribute table[] = {
    text(XMLSerializable_Text<&Object::getName, &Object::setName>("name")),
    text(XMLSerializable_Text<&Object::getPath, &Object::setPath>("path")),
    text(XMLSerializable_Text<&Object::getParentDirPath, &Object::setParentDirPath>("parentDirPath")),
    {Row{"exists", existence, setExistence}.clearedIfAbsent()},
    {Row{"isdir", directoryFlag,
         [](Object& object, const std::string& value) { object.setIsDirectory(value == "true"); }}
         .clearedIfAbsent(),
     "boolean"},
    text(XMLSerializable_Text<&Object::getExtension, &Object::setExtension>("extension")),
    {XMLSerializable_Text<&Object::getUserId, &Object::setUserId>("userId"), "string"},
    {XMLSerializable_Decimal<&Object::getGroupId, &Object::setGroupId>("groupId").writtenIf(
         [](const XMLSerializable_Value& value) {
             return std::get<std::uint64_t>(value) != Object::GroupUnknown;
         }),
     "uinteger"},
    date<&Object::getCreateDT>("createDT"),
    date<&Object::getModifyDT>("modifyDT"),
    date<&Object::getAccessDT>("accessDT"),
    {XMLSerializable_Decimal<&Object::getAttributeFlag, &Object::setAttributeFlag>("attrFlags")
         .clearedIfAbsent(),
     "uinteger"},
    count<&Object::getSize, &Object::setSize>("size"),
    count<&Object::getNumFiles, &Object::setNumFiles>("numFiles"),
    count<&Object::getNumDirs, &Object::setNumDirs>("numDirs"),
    count<&Object::getNumFilesArchived, &Object::setNumFilesArchived>("numFilesArchived"),
    count<&Object::getNumDirsArchived, &Object::setNumDirsArchived>("numDirsArchived"),
    none<&Object::getNumFilesNotArchived>("numFilesNotArchived"),
    none<&Object::getNumDirsNotArchived>("numDirsNotArchived"),
    count<&Object::getNumFilesModified, &Object::setNumFilesModified>("numFilesModified"),
    count<&Object::getNumDirsModified, &Object::setNumDirsModified>("numDirsModified"),
    count<&Object::getNumFilesAccessed, &Object::setNumFilesAccessed>("numFilesAccessed"),
    count<&Object::getNumDirsAccessed, &Object::setNumDirsAccessed>("numDirsAccessed"),
    count<&Object::getSizeRecursive, &Object::setSizeRecursive>("sizeRecursive"),
    count<&Object::getNumFilesRecursive, &Object::setNumFilesRecursive>("numFilesRecursive"),
    count<&Object::getNumDirsRecursive, &Object::setNumDirsRecursive>("numDirsRecursive"),
    none<&Object::getNumFilesNotArchivedRecursive>("numFilesNotArchivedRecursive"),
    none<&Object::getNumDirsNotArchivedRecursive>("numDirsNotArchivedRecursive"),
    count<&Object::getNumFilesArchivedRecursive, &Object::setNumFilesArchivedRecursive>(
        "numFilesArchivedRecursive"),
    count<&Object::getNumDirsArchivedRecursive, &Object::setNumDirsArchivedRecursive>(
        "numDirsArchivedRecursive"),
    count<&Object::getNumFilesModifiedRecursive, &Object::setNumFilesModifiedRecursive>(
        "numFilesModifiedRecursive"),
    count<&Object::getNumDirsModifiedRecursive, &Object::setNumDirsModifiedRecursive>(
        "numDirsModifiedRecursive"),
    count<&Object::getNumFilesAccessedRecursive, &Object::setNumFilesAccessedRecursive>(
        "numFilesAccessedRecursive"),
    count<&Object::getNumDirsAccessedRecursive, &Object::setNumDirsAccessedRecursive>(
        "numDirsAccessedRecursive"),
};

/// In the order in which a document keeps attributes.
std::array<const System_FSOAttribute*, std::size(table)> sortedByName() {
    std::array<const System_FSOAttribute*, std::size(table)> sorted{};
    std::transform(std::begin(table), std::end(table), sorted.begin(),
                   [](const System_FSOAttribute& row) { return &row; });
    std::sort(sorted.begin(), sorted.end(),
              [](const System_FSOAttribute* one, const System_FSOAttribute* other) {
                  return std::string_view(one->name) < std::string_view(other->name);
              });
    return sorted;
}

bool copyDate(System_Date* to, const System_Date* from) {
    if (to == nullptr || from == nullptr)
        return false;
    *to = *from;
    return true;
}

/// Copies a date by value; what the target does not hold it gets.
void assignDate(std::unique_ptr<System_Date>& to, const System_Date* from) {
    if (from == nullptr) {
        to.reset();
        return;
    }
    if (!to)
        to = System_FactoryAllocateDate();
    *to = *from;
}

void setTime(System_Date& date, std::time_t time) {
    std::tm fields{};
    if (gmtime_r(&time, &fields) != nullptr)
        date.setNative(&fields);
}

} // namespace

std::span<const System_FSOAttribute> System_FileSystemObject::attributes() {
    return table;
}

void System_FileSystemObject::setAllocatedModifyDT(std::unique_ptr<System_Date> date) {
    modifyDT_ = std::move(date);
    unread_.modifyTime = false;
}

void System_FileSystemObject::setAllocatedAccessDT(std::unique_ptr<System_Date> date) {
    accessDT_ = std::move(date);
    unread_.accessTime = false;
}

const char* System_FileSystemObject::getExtension() const {
    if (unread_.extension) {
        unread_.extension = false;
        const std::size_t dot = name_.rfind('.');
        extension_.clear();
        // A leading dot hides a file and begins no extension.
        if (dot != std::string::npos && dot != 0)
            extension_.assign(name_, dot + 1);
    }
    return extension_.c_str();
}

void System_FileSystemObject::setExtension(const char* extension) {
    extension_ = textOf(extension);
    unread_.extension = false;
}

bool System_FileSystemObject::setCreateDT(const System_Date* date) {
    return copyDate(createDT_.get(), date);
}

System_Date* System_FileSystemObject::getModifyDT() const {
    if (unread_.modifyTime && modifyDT_)
        setTime(*modifyDT_, modifyTime_);
    unread_.modifyTime = false;
    return modifyDT_.get();
}

bool System_FileSystemObject::setModifyDT(const System_Date* date) {
    return copyDate(getModifyDT(), date);
}

System_Date* System_FileSystemObject::getAccessDT() const {
    if (unread_.accessTime && accessDT_)
        setTime(*accessDT_, accessTime_);
    unread_.accessTime = false;
    return accessDT_.get();
}

bool System_FileSystemObject::setAccessDT(const System_Date* date) {
    return copyDate(getAccessDT(), date);
}

const std::string& System_FileSystemObject::getUserId() const {
    if (unread_.owner) {
        unread_.owner = false;
        userId_ = ownerNames_ ? ownerNames_->of(owner_) : System_OwnerNames().of(owner_);
    }
    return userId_;
}

void System_FileSystemObject::setUserId(const char* user) {
    userId_ = textOf(user);
    unread_.owner = false;
}

std::optional<bool> System_FileSystemObject::isModifiedWithin(const System_TimeWindow& window) const {
    if (!modifyDT_)
        return std::nullopt;
    return unread_.modifyTime ? window.has(modifyTime_) : window.has(*modifyDT_);
}

std::optional<bool> System_FileSystemObject::isAccessedWithin(const System_TimeWindow& window) const {
    if (!accessDT_)
        return std::nullopt;
    return unread_.accessTime ? window.has(accessTime_) : window.has(*accessDT_);
}

System_FileSystemObject::~System_FileSystemObject() {
    System_FileSystemObject::deallocateFSOs();
}

/// One after another, since a tree may be deeper than the stack, and in a list of the objects' own, since
/// there may be no memory.
void System_FileSystemObject::deallocateFSOs() {
    System_FileSystemObject* doomed = nullptr;
    const auto doom = [&](Children& members) {
        for (auto& member : members)
            if (member) {
                member->nextDoomed_ = doomed;
                doomed = member.release();
            }
        members.clear();
    };
    doom(children_);
    while (doomed != nullptr) {
        const std::unique_ptr<System_FileSystemObject> object(doomed);
        doomed = object->nextDoomed_;
        doom(object->children_);
    }
}

bool System_FileSystemObject::prepareForAudit() {
    counters_ = {};
    searchHit_ = false;
    deallocateFSOs();
    return true;
}

bool System_FileSystemObject::cleanupAfterAudit() {
    deallocateFSOs();
    searchHit_ = false;
    return true;
}

bool System_FileSystemObject::terminateIteration(bool& terminate) {
    terminate = childAuditLimit_ != 0 && children_.size() >= childAuditLimit_;
    return terminate;
}

void System_FileSystemObject::addRecursiveMembers(const System_FileSystemObject& member) {
    for (std::size_t at = SizeRecursive; at < CounterCount; ++at)
        counters_.at(at) += member.counters_.at(at);
}

bool System_FileSystemObject::calcRecursiveDirMembers(System_FileEvaluator* evaluator,
                                                      System_IterationTerminator* terminator,
                                                      System_Date* sDay, System_Date* eDay) {
    struct Level {
        System_FileSystemObject* object;
        std::size_t next;       ///< of its members
        std::size_t pathLength; ///< which may end in slashes at the top
    };
    if (evaluator == nullptr)
        return false;
    std::vector<Level> levels = {{this, 0, path_.size()}};
    std::string path = path_;
    for (;;) {
        Level& level = levels.back();
        const Children& members = level.object->children_;
        if (level.next < members.size()) {
            System_FileSystemObject* member = members[level.next].get();
            if (member == nullptr) {
                ++level.next;
                continue;
            }
            if (!path.ends_with('/'))
                path += '/';
            path += member->name_;
            levels.push_back({member, 0, path.size()});
            continue;
        }
        System_FileSystemObject& finished = *level.object;
        levels.pop_back();
        if (levels.empty())
            return true;
        Level& parent = levels.back();
        // Members of a walk are given their paths no sooner than they are needed, and give back the memory:
        // those of a deep tree would take its depth times its depth.
        const bool isNameless = finished.path_.empty();
        if (isNameless) {
            finished.parentDirPath_.assign(path, 0, parent.pathLength);
            finished.path_.swap(path);
        }
        if (evaluator->evaluateFile(&finished, sDay, eDay))
            parent.object->addRecursiveMembers(finished);
        if (isNameless) {
            finished.path_.swap(path);
            std::string().swap(finished.parentDirPath_);
        }
        path.resize(parent.pathLength);
        ++parent.next;
        bool succeeds = false;
        if (terminator != nullptr && terminator->terminateIteration(succeeds)) {
            if (!succeeds)
                return false;
            parent.next = parent.object->children_.size();
        }
    }
}

System_FileSystemObject& System_FileSystemObject::operator=(const System_FileSystemObject& other) {
    if (this == &other)
        return *this;
    System_Object::operator=(other);
    name_ = other.name_;
    path_ = other.path_;
    parentDirPath_ = other.parentDirPath_;
    exists_ = other.exists_;
    isDirectory_ = other.isDirectory_;
    assignDate(createDT_, other.createDT_.get());
    assignDate(modifyDT_, other.modifyDT_.get());
    assignDate(accessDT_, other.accessDT_.get());
    attributeFlag_ = other.attributeFlag_;
    size_ = other.size_;
    counters_ = other.counters_;
    searchHit_ = other.searchHit_;
    isSoftLink_ = other.isSoftLink_;
    inode_ = other.inode_;
    inodeDevice_ = other.inodeDevice_;
    groupId_ = other.groupId_;
    fsType_ = other.fsType_;
    recursionLevel_ = other.recursionLevel_;
    modifyTime_ = other.modifyTime_;
    accessTime_ = other.accessTime_;
    owner_ = other.owner_;
    ownerNames_ = other.ownerNames_;
    unread_ = other.unread_;
    extension_ = other.extension_;
    userId_ = other.userId_;
    return *this;
}

bool System_FileSystemObject::operator==(const System_FileSystemObject& other) const {
    return isDirectory_ == other.isDirectory_ ? strcasecmp(name_.c_str(), other.name_.c_str()) < 0
                                              : isDirectory_;
}

bool System_FileSystemObject::parse(xercesc::DOMElement* element) {
    if (!System_Object::parse(element) || !createDT_ || !getModifyDT() || !getAccessDT())
        return false;
    return XMLSerializable_Attempt([&] {
        XMLSerializable_ReadAttributes(attributes(), *this, *element);
        return true;
    });
}

bool System_FileSystemObject::serialize(xercesc::DOMDocument* document, xercesc::DOMElement* parent,
                                        xercesc::DOMElement* element) {
    return XMLSerializable_Attempt([&] {
        XMLSerializable_Element form(document, element, elementName);
        const System_SerializeOptions options = getSerializationOptions();
        const bool writesSelf = (options & System_SerializeSelf) != 0;
        if (writesSelf)
            XMLSerializable_WriteAttributes(attributes(), *this, *form);
        if ((options & SerializeChildren) != 0)
            for (const auto& child : children_)
                if (child && !child->serialize(document, writesSelf ? form.get() : parent, nullptr))
                    return false;
        if (writesSelf)
            form.appendTo(parent);
        return true;
    });
}

void System_FileSystemObject::appendText(std::string& out) const {
    static const auto sorted = sortedByName();
    out += '<';
    out += elementName;
    std::string scratch;
    for (const System_FSOAttribute* row : sorted) {
        const XMLSerializable_Value value = row->get(*this, scratch);
        if (row->isWritten(value))
            Xerces_AppendAttribute(out, row->name, XMLSerializable_TextOf(value, scratch));
    }
    out += "/>";
}
