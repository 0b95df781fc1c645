#include "xml/XMLSerializable_Attributes.h"

#include <gtest/gtest.h>

#include <string>

namespace {

/// Has an attribute of each kind.
struct Disk {
    const std::string& getOwner() const { return owner; }
    void setOwner(const char* name) { owner = name; }

    std::string model;
    std::string owner = "nobody";
    std::uint64_t tracks = 0;
    std::uint32_t heads = 0;
    std::uint32_t port = 0;
    int offset = 0;
    bool boot = false;
};

constexpr XMLSerializable_Attribute<Disk> table[] = {
    XMLSerializable_Text<&Disk::model>("model"),
    XMLSerializable_Text<&Disk::getOwner, &Disk::setOwner>("owner").clearedIfAbsent(),
    XMLSerializable_Number<&Disk::tracks>("tracks"),
    XMLSerializable_Number<&Disk::heads>("heads").always().clearedIfAbsent(),
    XMLSerializable_Decimal<&Disk::port>("port").writtenIf(
        [](const XMLSerializable_Value& value) { return std::get<std::uint64_t>(value) != 0xFFFFFFFF; }),
    XMLSerializable_Decimal<&Disk::offset>("offset"),
    XMLSerializable_Flag<&Disk::boot>("boot"),
    XMLSerializable_Text<&Disk::model, nullptr>("only-written"),
    {"composed",
     [](const Disk& disk, std::string& scratch) {
         return XMLSerializable_ValueOf(scratch =
                                            std::to_string(disk.heads) + '/' + std::to_string(disk.tracks));
     },
     nullptr},
};

std::string rewritten(const std::string& attributes, Disk disk = {}) {
    const Xerces_DocumentPtr document = Xerces_Parse("<Disk " + attributes + "/>", "test");
    XMLSerializable_ReadAttributes(table, disk, *Xerces_Root(*document));
    std::string all;
    XMLSerializable_VisitAttributes(table, disk, [&](const std::string& name, std::string_view text) {
        all += name + '=' + std::string(text) + ' ';
    });
    return all;
}

TEST(XMLSerializableAttributes, ReadAndWriteByTheirKind) {
    const std::pair<const char*, const char*> cases[] = {
        {"", "heads=0 port=0 composed=0/0 "},
        {"model='x' owner='y' only-written='z'",
         "model=x owner=y heads=0 port=0 only-written=x composed=0/0 "},
        {"tracks='0x1F' heads='010'", "tracks=31 heads=8 port=0 composed=8/31 "},
        {"tracks=' 12 and more' heads='none'", "tracks=12 heads=0 port=0 composed=0/12 "},
        {"tracks='99999999999999999999999'",
         "tracks=18446744073709551615 heads=0 port=0 composed=0/18446744073709551615 "},
        {"port='010' offset='007'", "heads=0 port=10 offset=7 composed=0/0 "},
        {"port='-1' offset='-99999999999'", "heads=0 offset=-2147483648 composed=0/0 "},
        {"offset='99999999999' boot='TRUEST'", "heads=0 port=0 offset=2147483647 boot=true composed=0/0 "},
        {"boot='tru'", "heads=0 port=0 composed=0/0 "},
    };
    for (const auto& [attributes, expected] : cases)
        EXPECT_EQ(rewritten(attributes), expected) << attributes;
    EXPECT_EQ(rewritten("owner='' boot=''", {"kept", "cleared", 7, 7, 7, 7, true}),
              "model=kept tracks=7 heads=0 port=7 offset=7 only-written=kept composed=0/7 ");
}

} // namespace
