#pragma once

#include "model/Storage_Tables.h"
#include "xml/Xerces_Document.h"

#include <concepts>
#include <functional>
#include <string>
#include <type_traits>

/// The attributes of a class stand in one table, from which both its XML and its reading of XML follow.
///
///     const XMLSerializable_Attribute<Storage_Disk> Storage_Disk::attributes_[] = {
///         XMLSerializable_Text<&Storage_Disk::model_>("model"),
///         XMLSerializable_Number<&Storage_Disk::tracks_>("tracks"),
///     };
///
/// A table is a static member, so that its rows reach private fields. A row that no maker below makes is
/// written out: a name and two functions without captures. A class whose rows carry more than this (the value
/// for a condition, say) derives its row type from XMLSerializable_Attribute; the engine takes a table of
/// either.

/// One attribute of `Object`.
template <typename Object>
struct XMLSerializable_Attribute {
    const char* name;
    /// Puts the attribute's text into `text`, which is empty. False if the attribute is not written.
    bool (*write)(const Object& object, std::string& text);
    /// Takes the text of the attribute, empty if it is absent. Null for an attribute that is only written.
    void (*read)(Object& object, const std::string& text);
};

/// Writes each attribute that has something to say. Lets exceptions of the XML library pass.
template <typename Table, typename Object>
void XMLSerializable_WriteAttributes(const Table& table, const Object& object, xercesc::DOMElement& element) {
    std::string text;
    for (const auto& row : table) {
        text.clear();
        if (row.write(object, text))
            Xerces_SetAttribute(element, row.name, text);
    }
}

/// Reads each attribute in the order of the table. Lets exceptions of the XML library pass.
template <typename Table, typename Object>
void XMLSerializable_ReadAttributes(const Table& table, Object& object, const xercesc::DOMElement& element) {
    for (const auto& row : table)
        if (row.read != nullptr)
            row.read(object, Xerces_GetAttribute(element, row.name));
}

/// What an absent attribute means to a reader: the field stays as it is, or it becomes what an empty text
/// says.
enum class XMLSerializable_Absent { Keeps, Clears };

/// "true" in any case, and whatever follows it.
bool XMLSerializable_ReadFlag(const std::string& text);
/// strtoull(3) with base 0: "0x" and a leading "0" are honoured, what is no digit ends it, too large is all
/// ones.
unsigned long long XMLSerializable_ReadUnsigned(const std::string& text);
/// Decimal; what is no digit ends it, beyond the range is the end of the range.
int XMLSerializable_ReadInteger(const std::string& text);

/// The type that a pointer to a data member leads out of and to.
template <typename Pointer>
struct XMLSerializable_Field;
template <typename FieldType, typename ObjectType>
struct XMLSerializable_Field<FieldType ObjectType::*> {
    using Object = ObjectType;
    using Value = FieldType;
};
template <auto Field>
using XMLSerializable_RowOf =
    XMLSerializable_Attribute<typename XMLSerializable_Field<decltype(Field)>::Object>;

/// A text, written unless it is empty.
template <auto Field, XMLSerializable_Absent Absent = XMLSerializable_Absent::Keeps>
constexpr XMLSerializable_RowOf<Field> XMLSerializable_Text(const char* name) {
    using Object = typename XMLSerializable_Field<decltype(Field)>::Object;
    return {name,
            [](const Object& object, std::string& text) {
                text = object.*Field;
                return !text.empty();
            },
            [](Object& object, const std::string& text) {
                if (Absent == XMLSerializable_Absent::Clears || !text.empty())
                    object.*Field = text;
            }};
}

/// An unsigned number, written in decimal unless it is 0.
template <auto Field, XMLSerializable_Absent Absent = XMLSerializable_Absent::Keeps>
constexpr XMLSerializable_RowOf<Field> XMLSerializable_Number(const char* name) {
    using Object = typename XMLSerializable_Field<decltype(Field)>::Object;
    using Value = typename XMLSerializable_Field<decltype(Field)>::Value;
    static_assert(std::unsigned_integral<Value>);
    return {name,
            [](const Object& object, std::string& text) {
                text = std::to_string(object.*Field);
                return object.*Field != 0;
            },
            [](Object& object, const std::string& text) {
                if (Absent == XMLSerializable_Absent::Clears || !text.empty())
                    object.*Field = static_cast<Value>(XMLSerializable_ReadUnsigned(text));
            }};
}

/// A flag, written as "true" or "false" in any case.
template <auto Field>
constexpr XMLSerializable_RowOf<Field> XMLSerializable_Flag(const char* name) {
    using Object = typename XMLSerializable_Field<decltype(Field)>::Object;
    return {name,
            [](const Object& object, std::string& text) {
                text = object.*Field ? "true" : "false";
                return true;
            },
            [](Object& object, const std::string& text) { object.*Field = XMLSerializable_ReadFlag(text); }};
}

/// A flag that is written only when it is set.
template <auto Field>
constexpr XMLSerializable_RowOf<Field> XMLSerializable_SetFlag(const char* name) {
    auto row = XMLSerializable_Flag<Field>(name);
    using Object = typename XMLSerializable_Field<decltype(Field)>::Object;
    row.write = [](const Object& object, std::string& text) {
        text = "true";
        return static_cast<bool>(object.*Field);
    };
    return row;
}

/// An enumeration, always written. The last row of its table is what any text that is no other row reads as.
template <auto Field, const auto& Table>
constexpr XMLSerializable_RowOf<Field> XMLSerializable_Enumeration(const char* name) {
    using Object = typename XMLSerializable_Field<decltype(Field)>::Object;
    using Value = typename XMLSerializable_Field<decltype(Field)>::Value;
    return {name,
            [](const Object& object, std::string& text) {
                text = Storage_TableRow(Table, object.*Field);
                return true;
            },
            [](Object& object, const std::string& text) {
                object.*Field = static_cast<Value>(Storage_FindTableRow(Table, text));
            }};
}
