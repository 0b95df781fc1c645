#include "model/Audit_XML.h"
#include "model/System_XMLObject.h"

#include <gtest/gtest.h>

#include <string>

namespace {

class Disk : public System_XMLObject<Disk, System_Object::PhysicalDrive> {
public:
    static XMLSerializable_Table<Disk> attributes() {
        static constexpr XMLSerializable_Attribute<Disk> table[] = {
            XMLSerializable_Text<&Disk::model>("model"),
            Storage_Enumeration<&Disk::type, Storage_DriveType_String, DriveType_DAS>("type"),
        };
        return table;
    }

    bool audit() override { return true; }
    using System_XMLObject::operator=;

    std::string model;
    Storage_DriveType type = DriveType_DAS;
};

TEST(Object, WritesOnlyWhatItHasToSay) {
    Disk disk;
    EXPECT_EQ(
        formOf(disk),
        "<Root><PhysicalDrive composition=\"Unknown\" existence=\"true\" isPartOfConcatenationSet=\"false\" "
        "isPartOfMirrorSet=\"false\" isPartOfStripeSet=\"false\" physicality=\"Physical\" "
        "type=\"DAS\"/></Root>");
}

TEST(Object, EveryAttributeComesBack) {
    const std::string form =
        "<Root><PhysicalDrive allocatedBytes=\"1\" composition=\"RAID1+Concatenated\" "
        "concatenationOrdinal=\"0\" existence=\"Unknown\" isPartOfConcatenationSet=\"true\" "
        "isPartOfMirrorSet=\"true\" isPartOfStripeSet=\"true\" mirrorOf=\"/dev/sdb\" model=\"ST373405LC\" "
        "name=\"/dev/sda &amp; \xC3\xA4 \xEE\xBF\xBF&#xA;\" nxId=\"9223372036854775808\" "
        "offsetBytes=\"18446744073709551615\" physicality=\"Logical\" totalBytes=\"10\" type=\"SAN\" "
        "virtualMechanism=\"Logical Volume Manager\"/></Root>";
    Disk disk;
    const Xerces_DocumentPtr document = Xerces_Parse(form, "form");
    ASSERT_TRUE(disk.parse(Xerces_FirstDescendant(*Xerces_Root(*document), "PhysicalDrive")));
    EXPECT_EQ(disk.getName(), "/dev/sda & \xC3\xA4 \xFF\n");
    EXPECT_EQ(formOf(disk), form);
    ASSERT_TRUE(parseInto(disk, "<PhysicalDrive/>"));
    EXPECT_EQ(formOf(disk),
              "<Root><PhysicalDrive allocatedBytes=\"1\" composition=\"RAID1+Concatenated+Simple\" "
              "concatenationOrdinal=\"0\" existence=\"Unknown\" isPartOfConcatenationSet=\"false\" "
              "isPartOfMirrorSet=\"false\" isPartOfStripeSet=\"false\" model=\"ST373405LC\" "
              "name=\"/dev/sda &amp; \xC3\xA4 \xEE\xBF\xBF&#xA;\" nxId=\"9223372036854775808\" "
              "offsetBytes=\"18446744073709551615\" physicality=\"Unknown\" totalBytes=\"10\" "
              "type=\"DAS\"/></Root>");
}

TEST(Object, ReadsTableTextsByTheirBeginning) {
    struct Case {
        const char* name;
        const char* value;
        const char* written;
    };
    const Case cases[] = {
        {"composition", "raid5", "RAID5"},
        {"composition", "RAID9", "RAID"},
        {"composition", "RAID10", "RAID1"},
        {"composition", "Striped", "Unknown"},
        {"composition", "stripped", "Stripped"},
        {"composition", "Simple Volume", "Simple"},
        {"composition", "RAID1+Concatenated++x+", "RAID1+Concatenated+Unknown+Unknown+Unknown"},
        {"physicality", "PHYSICALLY", "Physical"},
        {"existence", "FALSE", "false"},
        {"existence", "perhaps", "Unknown"},
        {"virtualMechanism", "Installable File System", ""},
        {"virtualMechanism", "netapp filer", "NetApp"},
        {"virtualMechanism", "Net", "Unknown"},
        {"type", "san", "SAN"},
        {"type", "NAS", "DAS"},
        {"concatenationOrdinal", "-3", ""},
    };
    for (const Case& c : cases) {
        Disk disk;
        ASSERT_TRUE(parseInto(disk, "<PhysicalDrive " + std::string(c.name) + "='" + c.value + "'/>"));
        EXPECT_EQ(attributeOf(formOf(disk), c.name), c.written) << c.name << ' ' << c.value;
    }
}

TEST(Object, NamesTheMirroredObjectOrWhatWasParsed) {
    Disk disk;
    Disk mirrored;
    ASSERT_TRUE(parseInto(disk, "<Disk mirrorOf='parsed'/>"));
    disk.setMirrorOf(&mirrored);
    EXPECT_EQ(disk.getMirrorOfName(), "parsed");
    mirrored.setName("pointed at");
    EXPECT_EQ(disk.getMirrorOfName(), "pointed at");
    disk.addComposition(Composition_Simple);
    EXPECT_EQ(disk.getComposition().size(), 1U) << "a composition is added once";
}

TEST(Object, SerializesIntoTheElementItIsGiven) {
    const Xerces_DocumentPtr document = Xerces_CreateDocument("Root");
    xercesc::DOMElement* root = Xerces_Root(*document);
    xercesc::DOMElement& own = Xerces_AppendElement(*root, "Own");
    xercesc::DOMElement& other = Xerces_AppendElement(*root, "Other");
    Disk disk;
    disk.setName("a");
    EXPECT_TRUE(disk.serialize(document.get(), root, &own));
    EXPECT_EQ(Xerces_GetAttribute(own, "name") + Xerces_GetAttribute(own, "type"), "aDAS");
    ASSERT_EQ(Xerces_ChildElements(*root).size(), 2U);
    EXPECT_EQ(Xerces_ChildElements(*root)[0], &other) << "appending moves the element to the end";

    disk.setSerializationOptions(0);
    EXPECT_TRUE(disk.serialize(document.get(), root, nullptr));
    EXPECT_TRUE(disk.serialize(document.get(), root, &other));
    EXPECT_EQ(Xerces_ChildElements(*root).size(), 2U) << "without bit 0 nothing is appended";
    EXPECT_EQ(Xerces_GetAttribute(other, "name"), "a") << "the generic attributes are written all the same";
    EXPECT_EQ(Xerces_GetAttribute(other, "type"), "");
}

TEST(Object, AssignmentCopiesWhatItIsAndNotWhatItWasAskedFor) {
    Disk drive;
    ASSERT_TRUE(parseInto(
        drive, "<PhysicalDrive name='/dev/sda' physicality='Logical' existence='false' totalBytes='9' "
               "allocatedBytes='1' offsetBytes='2' concatenationOrdinal='4' mirrorOf='m' "
               "isPartOfMirrorSet='true' virtualMechanism='NetApp' composition='RAID0'/>"));
    const std::string form = formOf(drive);
    drive.setRecursive(true);
    drive.setAllAttributes(true);
    drive.setNXId(7);
    drive.setSerializationOptions(0);
    drive.setAuditResult(true);
    drive.setAudited();
    Disk placeholder;
    placeholder.addComposition(Composition_Simple);
    static_cast<System_Object&>(placeholder) = drive;
    EXPECT_EQ(formOf(placeholder), form);
    EXPECT_TRUE(placeholder.getRecursive());
    EXPECT_FALSE(placeholder.getAllAttributes() || placeholder.getAuditResult() || placeholder.hasAudited());
}

/// The request form of an object.
class RequestForm : public testing::Test {
protected:
    bool read(const std::string& children) {
        const Xerces_DocumentPtr document =
            Xerces_Parse("<PhysicalDrive>" + children + "</PhysicalDrive>", "request");
        return document != nullptr && disk.parseElements(Xerces_Root(*document));
    }
    Disk disk;
};

TEST_F(RequestForm, TakesItsElements) {
    ASSERT_TRUE(read("<Other/><NXId>0x10</NXId><Recursive>true</Recursive><AllAttrs>TRUE</AllAttrs>"
                     "<NXIdReq>true</NXIdReq>"));
    EXPECT_EQ(disk.getNXId(), 16U);
    EXPECT_TRUE(disk.getRecursive());
    EXPECT_FALSE(disk.getAllAttributes()) << "only \"true\" as it stands";
    EXPECT_TRUE(disk.getNXIdRequired());
    ASSERT_TRUE(read("<NXId>1</NXId><Recursive>no</Recursive>"));
    EXPECT_EQ(disk.getNXId(), 1U);
    EXPECT_FALSE(disk.getRecursive());
    EXPECT_TRUE(disk.getNXIdRequired()) << "what is not there stays";
}

TEST_F(RequestForm, RefusesAnElementWithNothingInItAndAMissingId) {
    disk.setNXId(3);
    EXPECT_FALSE(read("<NXId>5</NXId><Recursive/>"));
    EXPECT_EQ(disk.getNXId(), 3U);
    EXPECT_TRUE(read("<Recursive><b/></Recursive>")) << "a child without a text is an empty text";
    EXPECT_TRUE(read(""));
    disk.setNXIdRequired(true);
    for (const char* children : {"", "<NXId></NXId>", "<NXId><![CDATA[]]></NXId>", "<NXId><b/></NXId>"})
        EXPECT_FALSE(read(children)) << children;
    EXPECT_TRUE(read("<NXId>5</NXId>"));
}

TEST_F(RequestForm, CopiesItselfToTheDefaultBeforeItChanges) {
    Disk defaults;
    disk.setName("template");
    disk.setParseDefault(&defaults);
    ASSERT_TRUE(read("<Recursive>true</Recursive>"));
    EXPECT_EQ(defaults.getName(), "template");
    EXPECT_FALSE(defaults.getRecursive());
    int required = 3;
    int total = 4;
    disk.getNumParseElements(required, total);
    disk.setNXIdRequired(true);
    disk.getNumParseElements(required, total);
    EXPECT_EQ(std::pair(required, total), std::pair(4, 6)) << "its elements are counted";
}

/// The time and memory of a hostile attribute follow its length.
TEST(Object, ReadsAnAttributeOfAnyLength) {
    Disk disk;
    const std::string separators(1 << 20, '+');
    ASSERT_TRUE(parseInto(disk, "<PhysicalDrive composition='" + separators + "'/>"));
    EXPECT_EQ(disk.getComposition().size(), separators.size() + 1);
}

} // namespace
