#include "model/System_Object.h"

#include "xml/XMLSerializable_Element.h"

#include <algorithm>
#include <optional>
#include <span>

namespace {

constexpr char compositionSeparator = '+';

/// Unknown is the row of whatever is none of these.
constexpr auto knownMechanisms = std::span(Storage_VirtualMechanism_String).first(VirtualMechanism_Unknown);
constexpr auto knownCompositions = std::span(Storage_Composition_String).first(Composition_Unknown);

const std::string& writeComposition(const std::vector<Storage_Composition>& composition, std::string& text) {
    text.clear();
    if (composition.empty())
        text = Storage_TableRow(Storage_Composition_String, Composition_Unknown);
    for (const Storage_Composition value : composition) {
        if (!text.empty())
            text += compositionSeparator;
        text += Storage_TableRow(Storage_Composition_String, value);
    }
    return text;
}

/// Appends to what is there. An empty text says nothing about the object, so it is taken for a simple one.
void readComposition(const std::string& text, std::vector<Storage_Composition>& composition) {
    if (text.empty()) {
        composition.push_back(Composition_Simple);
        return;
    }
    for (std::size_t start = 0; start <= text.size();) {
        const std::size_t end = std::min(text.find(compositionSeparator, start), text.size());
        const int row = Storage_FindTableRow(knownCompositions, text.substr(start, end - start));
        composition.push_back(static_cast<Storage_Composition>(row));
        start = end + 1;
    }
}

/// The text of the last child of that name, if there is one. False if a child of that name has nothing in it.
bool readLastChild(const xercesc::DOMElement& element, const char* name, std::optional<std::string>& text) {
    for (const xercesc::DOMElement* child : Xerces_ChildElements(element, name)) {
        if (!Xerces_HasChild(*child))
            return false;
        text = Xerces_FirstText(*child).value_or("");
    }
    return true;
}

void assignRequestFlag(const std::optional<std::string>& text, bool& flag) {
    if (text && !text->empty())
        flag = *text == "true";
}

} // namespace

XMLSerializable_Table<System_Object> System_Object::commonAttributes() {
    using Row = XMLSerializable_Attribute<System_Object>;
    static constexpr Row table[] = {
        XMLSerializable_Text<&System_Object::name_>("name"),
        Storage_Enumeration<&System_Object::physicality_, Storage_Physicality_String>("physicality"),
        Storage_Enumeration<&System_Object::existence_, Storage_ExistentialQuantifier_String>("existence"),
        Row{"virtualMechanism",
            [](const System_Object& object, std::string&) {
                const bool isTold = object.virtualMechanism_ != VirtualMechanism_None &&
                                    object.virtualMechanism_ != VirtualMechanism_InstallableFileSystem;
                return XMLSerializable_ValueOf(
                    isTold ? Storage_TableRow(Storage_VirtualMechanism_String, object.virtualMechanism_)
                           : "");
            },
            [](System_Object& object, const std::string& text) {
                object.virtualMechanism_ =
                    text.empty()
                        ? VirtualMechanism_None
                        : static_cast<Storage_VirtualMechanism>(Storage_FindTableRow(knownMechanisms, text));
            }}
            .clearedIfAbsent(),
        XMLSerializable_Flag<&System_Object::isPartOfStripeSet_>("isPartOfStripeSet").always(),
        XMLSerializable_Flag<&System_Object::isPartOfConcatenationSet_>("isPartOfConcatenationSet").always(),
        XMLSerializable_Flag<&System_Object::isPartOfMirrorSet_>("isPartOfMirrorSet").always(),
        XMLSerializable_Text<&System_Object::getMirrorOfName, &System_Object::setMirrorOfName>("mirrorOf")
            .clearedIfAbsent(),
        Row{"composition",
            [](const System_Object& object, std::string& scratch) {
                return XMLSerializable_ValueOf(writeComposition(object.composition_, scratch));
            },
            [](System_Object& object, const std::string& text) {
                readComposition(text, object.composition_);
            }}
            .clearedIfAbsent(),
        XMLSerializable_Decimal<&System_Object::concatenationOrdinal_>("concatenationOrdinal")
            .writtenIf([](const XMLSerializable_Value& value) { return std::get<std::int64_t>(value) >= 0; }),
        XMLSerializable_Number<&System_Object::allocatedBytes_>("allocatedBytes"),
        XMLSerializable_Number<&System_Object::offsetBytes_>("offsetBytes"),
        XMLSerializable_Number<&System_Object::totalBytes_>("totalBytes"),
        XMLSerializable_Number<&System_Object::nxId_>("nxId"),
    };
    return table;
}

System_Object& System_Object::operator=(const System_Object& other) {
    if (this == &other)
        return *this;
    recursive_ = other.recursive_;
    name_ = other.name_;
    physicality_ = other.physicality_;
    existence_ = other.existence_;
    composition_ = other.composition_;
    virtualMechanism_ = other.virtualMechanism_;
    isPartOfStripeSet_ = other.isPartOfStripeSet_;
    isPartOfMirrorSet_ = other.isPartOfMirrorSet_;
    isPartOfConcatenationSet_ = other.isPartOfConcatenationSet_;
    concatenationOrdinal_ = other.concatenationOrdinal_;
    allocatedBytes_ = other.allocatedBytes_;
    offsetBytes_ = other.offsetBytes_;
    totalBytes_ = other.totalBytes_;
    mirrorOf_ = other.mirrorOf_;
    mirrorOfName_ = other.mirrorOfName_;
    return *this;
}

void System_Object::getNumParseElements(int& required, int& total) const {
    if (nxIdRequired_)
        ++required;
    ++total;
}

void System_Object::addComposition(Storage_Composition composition) {
    if (std::find(composition_.begin(), composition_.end(), composition) == composition_.end())
        composition_.push_back(composition);
}

const std::string& System_Object::getMirrorOfName() const {
    return mirrorOf_ != nullptr && !mirrorOf_->name_.empty() ? mirrorOf_->name_ : mirrorOfName_;
}

bool System_Object::serialize(xercesc::DOMDocument*, xercesc::DOMElement*, xercesc::DOMElement* element) {
    return element != nullptr && XMLSerializable_Attempt([&] {
               XMLSerializable_WriteAttributes(commonAttributes(), *this, *element);
               return true;
           });
}

bool System_Object::parse(xercesc::DOMElement* element) {
    return element != nullptr && XMLSerializable_Attempt([&] {
               XMLSerializable_ReadAttributes(commonAttributes(), *this, *element);
               return true;
           });
}

bool System_Object::parseElements(xercesc::DOMElement* element) {
    if (element == nullptr)
        return false;
    return XMLSerializable_Attempt([&] {
        std::optional<std::string> id;
        std::optional<std::string> idRequired;
        std::optional<std::string> recursive;
        std::optional<std::string> allAttributes;
        if (!readLastChild(*element, "NXId", id) || !readLastChild(*element, "NXIdReq", idRequired) ||
            !readLastChild(*element, "Recursive", recursive) ||
            !readLastChild(*element, "AllAttrs", allAttributes))
            return false;
        if (nxIdRequired_ && (!id || id->empty()))
            return false;
        if (parseDefault_ != nullptr)
            *parseDefault_ = *this;
        if (id)
            nxId_ = XMLSerializable_ReadUnsigned(*id);
        assignRequestFlag(idRequired, nxIdRequired_);
        assignRequestFlag(recursive, recursive_);
        assignRequestFlag(allAttributes, allAttributes_);
        return true;
    });
}
