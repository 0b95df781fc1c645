#pragma once

#include "base/Secret_Text.h"
#include "xml/Xerces_Document.h"

#include <concepts>
#include <cstdint>
#include <functional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>

/// The attributes of a class stand in one table, from which its XML, the reading of XML and the words of a
/// refusal follow.
///
///     XMLSerializable_Table<Storage_Disk> Storage_Disk::attributes() {
///         static constexpr XMLSerializable_Attribute<Storage_Disk> table[] = {
///             XMLSerializable_Text<&Storage_Disk::model_>("model"),
///             XMLSerializable_Number<&Storage_Disk::tracks_>("tracks").always(),
///             XMLSerializable_Flag<&Storage_Disk::isBoot, &Storage_Disk::setBoot>("boot"),
///         };
///         return table;
///     }
///
/// A row is made from a pointer to a field, or from a getter and a setter, or is written out with functions
/// of its own. It gives its value as it is held, a number as a number; a value becomes text only where text
/// is wanted, and needs no document for that. A class whose rows carry more than this derives its row type
/// from XMLSerializable_Attribute; the functions take tables of either.

/// What an attribute holds. A text lasts until its object or the scratch text changes.
using XMLSerializable_Value = std::variant<std::string_view, std::uint64_t, std::int64_t, bool>;

/// Whether there is something to say: the text is not empty, the number not 0, the flag set.
bool XMLSerializable_IsSet(const XMLSerializable_Value& value);

/// The value as it stands in XML: a number in decimal, a flag as "true" or "false". What is not text yet
/// becomes text in `scratch`.
std::string_view XMLSerializable_TextOf(const XMLSerializable_Value& value, std::string& scratch);

/// What an attribute that is absent or empty means to a reader: the object stays as it is, or it takes what
/// an empty text says.
enum class XMLSerializable_Absent { Keeps, Clears };

/// One attribute of `Object`.
template <typename Object>
struct XMLSerializable_Attribute {
    using Getter = XMLSerializable_Value (*)(const Object& object, std::string& scratch);
    using Setter = void (*)(Object& object, const std::string& text);
    using Condition = bool (*)(const XMLSerializable_Value& value);

    const char* name;
    /// A text that the object does not hold as such is put into `scratch`.
    Getter get;
    /// Null for an attribute that is only written.
    Setter set;
    XMLSerializable_Absent absent = XMLSerializable_Absent::Keeps;
    Condition isWritten = XMLSerializable_IsSet;
    /// What a person must write there; null if the attribute may be left out.
    const char* expected = nullptr;

    constexpr XMLSerializable_Attribute always() const {
        return writtenIf([](const XMLSerializable_Value&) { return true; });
    }
    constexpr XMLSerializable_Attribute writtenIf(Condition condition) const {
        XMLSerializable_Attribute row = *this;
        row.isWritten = condition;
        return row;
    }
    constexpr XMLSerializable_Attribute clearedIfAbsent() const {
        XMLSerializable_Attribute row = *this;
        row.absent = XMLSerializable_Absent::Clears;
        return row;
    }
    constexpr XMLSerializable_Attribute required(const char* what) const {
        XMLSerializable_Attribute row = *this;
        row.expected = what;
        return row;
    }
};

template <typename Object>
using XMLSerializable_Table = std::span<const XMLSerializable_Attribute<Object>>;

/// Why a text from outside is not taken: one line for a person.
class XMLSerializable_Refusal : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Gives the name and the text of each attribute that is written to `visit`, in the order of the table.
template <typename Table, typename Object, typename Visitor>
void XMLSerializable_VisitAttributes(const Table& table, const Object& object, Visitor visit) {
    std::string scratch;
    for (const auto& row : table) {
        const XMLSerializable_Value value = row.get(object, scratch);
        if (row.isWritten(value))
            visit(row.name, XMLSerializable_TextOf(value, scratch));
    }
}

/// Throws what Xerces_SetAttribute throws.
template <typename Table, typename Object>
void XMLSerializable_WriteAttributes(const Table& table, const Object& object, xercesc::DOMElement& element) {
    XMLSerializable_VisitAttributes(table, object, [&element](const char* name, std::string_view text) {
        Xerces_SetAttribute(element, name, text);
    });
}

/// The text of the attribute, which may be a password; empty if it is absent. Throws XMLSerializable_Refusal
/// if something is expected and nothing is there.
Secret_Text XMLSerializable_ReadText(const xercesc::DOMElement& element, const char* name,
                                     const char* expected);

/// Reads one attribute as its row tells.
template <typename Row, typename Object>
void XMLSerializable_ReadAttribute(const Row& row, Object& object, const xercesc::DOMElement& element) {
    if (row.set == nullptr)
        return;
    const Secret_Text text = XMLSerializable_ReadText(element, row.name, row.expected);
    if (!text.empty() || row.absent == XMLSerializable_Absent::Clears)
        row.set(object, text.asString());
}

/// Reads each attribute in the order of the table. After a refusal those before it have been read.
template <typename Table, typename Object>
void XMLSerializable_ReadAttributes(const Table& table, Object& object, const xercesc::DOMElement& element) {
    for (const auto& row : table)
        XMLSerializable_ReadAttribute(row, object, element);
}

/// "true" in any case, and whatever follows it.
bool XMLSerializable_ReadFlag(const std::string& text);
/// strtoull(3) with base 0: "0x" and a leading "0" are honoured, what is no digit ends it, too large is all
/// ones.
std::uint64_t XMLSerializable_ReadUnsigned(const std::string& text);
/// Decimal; what is no digit ends it. Beyond the range of an int is the end of that range; an unsigned takes
/// the low bits.
template <std::integral Number>
Number XMLSerializable_ReadDecimal(const std::string& text);
template <>
int XMLSerializable_ReadDecimal<int>(const std::string& text);
template <>
unsigned XMLSerializable_ReadDecimal<unsigned>(const std::string& text);

/// The class that a pointer to a member leads into, and what it leads to: a field or the result of a getter.
template <typename Pointer>
struct XMLSerializable_Member;
template <typename Type, typename Class>
struct XMLSerializable_Member<Type Class::*> {
    using Object = Class;
    using Held = std::remove_cvref_t<std::invoke_result_t<Type Class::*, const Class&>>;
};
template <auto Get>
using XMLSerializable_ObjectOf = typename XMLSerializable_Member<decltype(Get)>::Object;
template <auto Get>
using XMLSerializable_HeldBy = typename XMLSerializable_Member<decltype(Get)>::Held;

template <typename Held>
XMLSerializable_Value XMLSerializable_ValueOf(const Held& held) {
    if constexpr (std::same_as<Held, bool>)
        return held;
    else if constexpr (std::unsigned_integral<Held>)
        return std::uint64_t{held};
    else if constexpr (std::signed_integral<Held>)
        return std::int64_t{held};
    else if constexpr (std::same_as<Held, Secret_Text>)
        return held.view();
    else
        return std::string_view(held);
}
/// A view of it would not last.
XMLSerializable_Value XMLSerializable_ValueOf(std::string&& temporary) = delete;

/// The row of an attribute that `Read` reads. `Set` is null if it is only written.
template <auto Get, auto Set, auto Read>
constexpr XMLSerializable_Attribute<XMLSerializable_ObjectOf<Get>> XMLSerializable_Row(const char* name) {
    using Object = XMLSerializable_ObjectOf<Get>;
    XMLSerializable_Attribute<Object> row{
        name,
        [](const Object& object, std::string&) { return XMLSerializable_ValueOf(std::invoke(Get, object)); },
        nullptr};
    if constexpr (std::is_member_object_pointer_v<decltype(Set)>)
        row.set = [](Object& object, const std::string& text) { object.*Set = Read(text); };
    else if constexpr (std::is_member_function_pointer_v<decltype(Set)>)
        row.set = [](Object& object, const std::string& text) { (object.*Set)(Read(text)); };
    return row;
}

/// A text, which may be a Secret_Text. A setter takes it as a pointer.
template <auto Get, auto Set = Get>
constexpr auto XMLSerializable_Text(const char* name) {
    if constexpr (std::is_member_object_pointer_v<decltype(Set)>)
        return XMLSerializable_Row<Get, Set, [](const std::string& text) {
            return XMLSerializable_HeldBy<Set>(text);
        }>(name);
    else
        return XMLSerializable_Row<Get, Set, [](const std::string& text) { return text.c_str(); }>(name);
}

/// An unsigned number, read as XMLSerializable_ReadUnsigned tells.
template <auto Get, auto Set = Get>
constexpr auto XMLSerializable_Number(const char* name) {
    using Held = XMLSerializable_HeldBy<Get>;
    static_assert(std::unsigned_integral<Held>);
    return XMLSerializable_Row<Get, Set, [](const std::string& text) {
        return static_cast<Held>(XMLSerializable_ReadUnsigned(text));
    }>(name);
}

/// A number, read as XMLSerializable_ReadDecimal tells.
template <auto Get, auto Set = Get>
constexpr auto XMLSerializable_Decimal(const char* name) {
    return XMLSerializable_Row<Get, Set, XMLSerializable_ReadDecimal<XMLSerializable_HeldBy<Get>>>(name);
}

/// A flag; absent is not set.
template <auto Get, auto Set = Get>
constexpr auto XMLSerializable_Flag(const char* name) {
    return XMLSerializable_Row<Get, Set, XMLSerializable_ReadFlag>(name).clearedIfAbsent();
}
