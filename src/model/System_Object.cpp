#include "model/System_Object.h"

#include <algorithm>
#include <optional>

namespace {

constexpr char compositionSeparator = '+';

void appendCompositionText(const std::vector<Storage_Composition>& composition, std::string& text) {
    if (composition.empty())
        text = Storage_TableRow(Storage_Composition_String, Composition_Unknown);
    for (const Storage_Composition value : composition) {
        if (!text.empty())
            text += compositionSeparator;
        text += Storage_TableRow(Storage_Composition_String, value);
    }
}

/// An empty text says nothing about the object, so it is taken for a simple one.
void readCompositionText(const std::string& text, std::vector<Storage_Composition>& composition) {
    if (text.empty()) {
        composition.push_back(Composition_Simple);
        return;
    }
    for (std::size_t start = 0; start <= text.size();) {
        const std::size_t end = std::min(text.find(compositionSeparator, start), text.size());
        const std::string piece = text.substr(start, end - start);
        composition.push_back(
            static_cast<Storage_Composition>(Storage_FindTableRow(Storage_Composition_String, piece)));
        start = end + 1;
    }
}

/// The text of the last child of that name, if there is one. False if a child of that name has no text.
bool readLastChild(const xercesc::DOMElement& element, const char* name, std::optional<std::string>& text) {
    for (const xercesc::DOMElement* child : Xerces_ChildElements(element, name)) {
        text = Xerces_FirstText(*child);
        if (!text)
            return false;
    }
    return true;
}

void assignRequestFlag(const std::optional<std::string>& text, bool& flag) {
    if (text && !text->empty())
        flag = *text == "true";
}

} // namespace

const XMLSerializable_Attribute<System_Object> System_Object::attributes_[] = {
    XMLSerializable_Text<&System_Object::name_>("name"),
    XMLSerializable_Enumeration<&System_Object::physicality_, Storage_Physicality_String>("physicality"),
    XMLSerializable_Enumeration<&System_Object::existence_, Storage_ExistentialQuantifier_String>(
        "existence"),
    {"virtualMechanism",
     [](const System_Object& object, std::string& text) {
         text = Storage_TableRow(Storage_VirtualMechanism_String, object.virtualMechanism_);
         return object.virtualMechanism_ != VirtualMechanism_None &&
                object.virtualMechanism_ != VirtualMechanism_InstallableFileSystem;
     },
     [](System_Object& object, const std::string& text) {
         object.virtualMechanism_ = text.empty() ? VirtualMechanism_None
                                                 : static_cast<Storage_VirtualMechanism>(Storage_FindTableRow(
                                                       Storage_VirtualMechanism_String, text));
     }},
    XMLSerializable_Flag<&System_Object::isPartOfStripeSet_>("isPartOfStripeSet"),
    XMLSerializable_Flag<&System_Object::isPartOfConcatenationSet_>("isPartOfConcatenationSet"),
    XMLSerializable_Flag<&System_Object::isPartOfMirrorSet_>("isPartOfMirrorSet"),
    {"mirrorOf",
     [](const System_Object& object, std::string& text) {
         text = object.getMirrorOfName();
         return !text.empty();
     },
     [](System_Object& object, const std::string& text) { object.mirrorOfName_ = text; }},
    {"composition",
     [](const System_Object& object, std::string& text) {
         appendCompositionText(object.composition_, text);
         return true;
     },
     [](System_Object& object, const std::string& text) { readCompositionText(text, object.composition_); }},
    {"concatenationOrdinal",
     [](const System_Object& object, std::string& text) {
         text = std::to_string(object.concatenationOrdinal_);
         return object.concatenationOrdinal_ >= 0;
     },
     [](System_Object& object, const std::string& text) {
         if (!text.empty())
             object.concatenationOrdinal_ = XMLSerializable_ReadInteger(text);
     }},
    XMLSerializable_Number<&System_Object::allocatedBytes_>("allocatedBytes"),
    XMLSerializable_Number<&System_Object::offsetBytes_>("offsetBytes"),
    XMLSerializable_Number<&System_Object::totalBytes_>("totalBytes"),
    XMLSerializable_Number<&System_Object::nxId_>("nxId"),
};

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
               XMLSerializable_WriteAttributes(attributes_, *this, *element);
               return true;
           });
}

bool System_Object::parse(xercesc::DOMElement* element) {
    return element != nullptr && XMLSerializable_Attempt([&] {
               XMLSerializable_ReadAttributes(attributes_, *this, *element);
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
