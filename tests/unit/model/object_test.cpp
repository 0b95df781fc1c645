#include "model/Audit_XML.h"
#include "model/System_Object.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace {

/// A storage object with an attribute of each kind that the tables know.
class Disk : public System_Object {
public:
    StorageType getStorageType() const override { return PhysicalDrive; }
    bool audit() override { return true; }
    using System_Object::operator=;
    bool parse(xercesc::DOMElement* element) override { return parseObject(*this, attributes_, element); }
    bool serialize(xercesc::DOMDocument* document, xercesc::DOMElement* parent,
                   xercesc::DOMElement* element) override {
        return serializeObject(*this, "Disk", attributes_, document, parent, element);
    }

    std::string model;
    std::string owner = "nobody";
    std::uint64_t tracks = 0;
    std::uint32_t heads = 0;
    bool removable = false;
    bool boot = false;
    Storage_DriveType type = DriveType_DAS;

private:
    static const XMLSerializable_Attribute<Disk> attributes_[8];
};

const XMLSerializable_Attribute<Disk> Disk::attributes_[8] = {
    XMLSerializable_Text<&Disk::model>("model"),
    XMLSerializable_Text<&Disk::owner, XMLSerializable_Absent::Clears>("owner"),
    XMLSerializable_Number<&Disk::tracks>("tracks"),
    XMLSerializable_Number<&Disk::heads, XMLSerializable_Absent::Clears>("heads"),
    XMLSerializable_Flag<&Disk::removable>("removable"),
    XMLSerializable_SetFlag<&Disk::boot>("boot"),
    XMLSerializable_Enumeration<&Disk::type, Storage_DriveType_String>("type"),
    {"address", [](const Disk&, std::string& text) { return !(text = "written only").empty(); }, nullptr},
};

/// How one attribute reads and is written again.
std::string rewritten(const char* name, const std::string& value) {
    Disk disk;
    EXPECT_TRUE(parseInto(disk, "<Disk " + std::string(name) + "=\"" + value + "\"/>"));
    return attributeOf(formOf(disk), name);
}

TEST(Object, WritesOnlyWhatItHasToSay) {
    Disk disk;
    EXPECT_EQ("<Root><Disk address=\"written only\" composition=\"Unknown\" existence=\"true\" "
              "isPartOfConcatenationSet=\"false\" isPartOfMirrorSet=\"false\" isPartOfStripeSet=\"false\" "
              "owner=\"nobody\" physicality=\"Physical\" removable=\"false\" type=\"DAS\"/></Root>",
              formOf(disk));
}

TEST(Object, EveryAttributeComesBack) {
    Disk mirrored;
    mirrored.setName("/dev/sdb");
    Disk disk;
    disk.setName("/dev/sda & \"friends\" \xC3\xA4 \xFF\n");
    disk.setPhysicality(Physicality_Logical);
    disk.setExistence(Existence_Unknown);
    disk.setVirtualMechanism(VirtualMechanism_LogicalVolumeManager);
    disk.setIsPartOfStripeSet(true);
    disk.setIsPartOfConcatenationSet(true);
    disk.setIsPartOfMirrorSet(true);
    disk.setMirrorOf(&mirrored);
    disk.addComposition(Composition_RAID1);
    disk.addComposition(Composition_Concatenated);
    disk.setConcatenationOrdinal(0);
    disk.setAllocatedBytes(1);
    disk.setOffsetBytes(std::numeric_limits<std::uint64_t>::max());
    disk.setTotalBytes(10);
    disk.setNXId(0x8000000000000000);
    disk.model = "ST373405LC";
    disk.owner = "root";
    disk.tracks = 17;
    disk.heads = 4294967295U;
    disk.removable = true;
    disk.boot = true;
    disk.type = DriveType_SAN;
    const std::string form = formOf(disk);
    const std::pair<const char*, const char*> expected[] = {
        {"name", "/dev/sda & \"friends\" \xC3\xA4 \xFF\n"},
        {"physicality", "Logical"},
        {"existence", "Unknown"},
        {"virtualMechanism", "Logical Volume Manager"},
        {"isPartOfStripeSet", "true"},
        {"isPartOfConcatenationSet", "true"},
        {"isPartOfMirrorSet", "true"},
        {"mirrorOf", "/dev/sdb"},
        {"composition", "RAID1+Concatenated"},
        {"concatenationOrdinal", "0"},
        {"allocatedBytes", "1"},
        {"offsetBytes", "18446744073709551615"},
        {"totalBytes", "10"},
        {"nxId", "9223372036854775808"},
        {"model", "ST373405LC"},
        {"owner", "root"},
        {"tracks", "17"},
        {"heads", "4294967295"},
        {"removable", "true"},
        {"boot", "true"},
        {"type", "SAN"},
    };
    for (const auto& [name, value] : expected)
        EXPECT_EQ(value, attributeOf(form, name)) << name;

    Disk copy;
    const Xerces_DocumentPtr document = Xerces_Parse(form, "form");
    ASSERT_TRUE(copy.parse(Xerces_FirstDescendant(*Xerces_Root(*document), "Disk")));
    EXPECT_EQ(form, formOf(copy));
    EXPECT_EQ((std::vector{Composition_RAID1, Composition_Concatenated}), copy.getComposition());
}

TEST(Object, ReadsTableTextsByTheirBeginning) {
    const std::pair<const char*, Storage_Composition> texts[] = {
        {"raid5", Composition_RAID5},          {"RAID9", Composition_RAID},
        {"RAID10", Composition_RAID1},         {"", Composition_Simple},
        {"Striped", Composition_Unknown},      {"stripped", Composition_Striped},
        {"Simple Volume", Composition_Simple}, {"Unknown", Composition_Unknown}};
    for (const auto& [text, value] : texts) {
        Disk disk;
        ASSERT_TRUE(parseInto(disk, "<Disk composition=\"" + std::string(text) + "\"/>"));
        EXPECT_EQ(std::vector{value}, disk.getComposition()) << text;
    }
    EXPECT_EQ("Physical", rewritten("physicality", "PHYSICALLY"));
    EXPECT_EQ("Unknown", rewritten("physicality", ""));
    EXPECT_EQ("false", rewritten("existence", "FALSE"));
    EXPECT_EQ("Unknown", rewritten("existence", "perhaps"));
    EXPECT_EQ("", rewritten("virtualMechanism", ""));
    EXPECT_EQ("", rewritten("virtualMechanism", "Installable File System"));
    EXPECT_EQ("NetApp", rewritten("virtualMechanism", "netapp filer"));
    EXPECT_EQ("Unknown", rewritten("virtualMechanism", "Net"));
    EXPECT_EQ("true", rewritten("isPartOfMirrorSet", "TRUEST"));
    EXPECT_EQ("false", rewritten("isPartOfMirrorSet", "tru"));
}

TEST(Object, AppendsWhatACompositionNames) {
    Disk disk;
    disk.addComposition(Composition_Mounted);
    disk.addComposition(Composition_Mounted);
    EXPECT_EQ(1u, disk.getComposition().size());
    ASSERT_TRUE(parseInto(disk, "<Disk composition='RAID1+Concatenated++x+'/>"));
    EXPECT_EQ((std::vector{Composition_Mounted, Composition_RAID1, Composition_Concatenated,
                           Composition_Unknown, Composition_Unknown, Composition_Unknown}),
              disk.getComposition());
}

TEST(Object, ReadsNumbersLikeTheLibrary) {
    EXPECT_EQ("31", rewritten("totalBytes", "0x1F"));
    EXPECT_EQ("8", rewritten("totalBytes", "010"));
    EXPECT_EQ("12", rewritten("nxId", " 12 and more"));
    EXPECT_EQ("", rewritten("nxId", "none"));
    EXPECT_EQ("18446744073709551615", rewritten("offsetBytes", "99999999999999999999999"));
    EXPECT_EQ("7", rewritten("concatenationOrdinal", "007"));
    EXPECT_EQ("", rewritten("concatenationOrdinal", "-3"));
    EXPECT_EQ("2147483647", rewritten("concatenationOrdinal", "99999999999"));
    EXPECT_EQ("255", rewritten("heads", "0xff"));
}

TEST(Object, AbsentAttributesKeepOrClear) {
    Disk disk;
    disk.setName("kept");
    disk.setTotalBytes(5);
    disk.setConcatenationOrdinal(2);
    disk.model = "kept";
    disk.tracks = 7;
    disk.heads = 7;
    disk.boot = true;
    ASSERT_TRUE(parseInto(disk, "<Disk/>"));
    EXPECT_EQ("kept", disk.getName());
    EXPECT_EQ(5u, disk.getTotalBytes());
    EXPECT_EQ(2, disk.getConcatenationOrdinal());
    EXPECT_EQ("kept", disk.model);
    EXPECT_EQ(7u, disk.tracks);
    EXPECT_EQ("", disk.owner);
    EXPECT_EQ(0u, disk.heads);
    EXPECT_FALSE(disk.boot);
    EXPECT_EQ(Existence_Unknown, disk.getExistence());
}

TEST(Object, NamesTheMirroredObjectOrWhatWasParsed) {
    Disk disk;
    ASSERT_TRUE(parseInto(disk, "<Disk mirrorOf='parsed'/>"));
    EXPECT_EQ("parsed", attributeOf(formOf(disk), "mirrorOf"));
    Disk mirrored;
    disk.setMirrorOf(&mirrored);
    EXPECT_EQ("parsed", attributeOf(formOf(disk), "mirrorOf"));
    mirrored.setName("pointed at");
    EXPECT_EQ("pointed at", attributeOf(formOf(disk), "mirrorOf"));
}

TEST(Object, SerializesIntoTheElementItIsGiven) {
    const Xerces_DocumentPtr document = Xerces_CreateDocument("Root");
    xercesc::DOMElement* root = Xerces_Root(*document);
    xercesc::DOMElement& own = Xerces_AppendElement(*root, "Own");
    xercesc::DOMElement& other = Xerces_AppendElement(*root, "Other");
    Disk disk;
    disk.setName("a");
    EXPECT_TRUE(disk.serialize(document.get(), root, &own));
    EXPECT_EQ("a", Xerces_GetAttribute(own, "name"));
    EXPECT_EQ("DAS", Xerces_GetAttribute(own, "type"));
    ASSERT_EQ(2u, Xerces_ChildElements(*root).size());
    EXPECT_EQ(&other, Xerces_ChildElements(*root)[0]) << "appending moves the element to the end";

    disk.setSerializationOptions(0);
    EXPECT_TRUE(disk.serialize(document.get(), root, nullptr));
    EXPECT_TRUE(disk.serialize(document.get(), root, &other));
    EXPECT_EQ(2u, Xerces_ChildElements(*root).size()) << "without bit 0 nothing is appended";
    EXPECT_EQ("a", Xerces_GetAttribute(other, "name")) << "the generic attributes are written all the same";
    EXPECT_EQ("", Xerces_GetAttribute(other, "type"));
}

TEST(Object, ReportsWhatItCannotWriteOrRead) {
    Disk disk;
    const Xerces_DocumentPtr document = Xerces_CreateDocument("Root");
    EXPECT_FALSE(disk.serialize(nullptr, Xerces_Root(*document), nullptr));
    EXPECT_FALSE(disk.serialize(document.get(), nullptr, nullptr));
    EXPECT_FALSE(disk.System_Object::serialize(document.get(), Xerces_Root(*document), nullptr));
    EXPECT_FALSE(disk.parse(nullptr));
    EXPECT_FALSE(disk.parseElements(nullptr));
    EXPECT_TRUE(Xerces_ChildElements(*Xerces_Root(*document)).empty());
}

/// An element of another document cannot be appended: the library throws.
TEST(Object, KeepsTheLibrarysExceptionsIn) {
    Disk disk;
    const Xerces_DocumentPtr document = Xerces_CreateDocument("Root");
    const Xerces_DocumentPtr foreign = Xerces_CreateDocument("Root");
    EXPECT_FALSE(disk.serialize(document.get(), Xerces_Root(*foreign), nullptr));
    EXPECT_TRUE(Xerces_ChildElements(*Xerces_Root(*foreign)).empty());
}

TEST(Object, AssignmentCopiesWhatItIsAndNotWhatItWasAskedFor) {
    Disk drive;
    drive.setName("/dev/sda");
    drive.setTotalBytes(36400000000);
    drive.setAllocatedBytes(1);
    drive.setOffsetBytes(2);
    drive.setVirtualMechanism(VirtualMechanism_LogicalVolumeManager);
    drive.addComposition(Composition_RAID0);
    drive.setRecursive(true);
    drive.setAllAttributes(true);
    drive.setNXId(7);
    drive.setSerializationOptions(0);
    drive.setAuditResult(true);
    drive.setAudited();
    drive.setIsPartOfMirrorSet(true);
    drive.setConcatenationOrdinal(4);
    drive.setExistence(Existence_False);
    drive.setPhysicality(Physicality_Logical);
    Disk placeholder;
    placeholder.addComposition(Composition_Simple);
    static_cast<System_Object&>(placeholder) = drive;
    EXPECT_FALSE(placeholder.getAllAttributes());
    EXPECT_EQ(0u, placeholder.getNXId());
    EXPECT_FALSE(placeholder.getAuditResult());
    EXPECT_FALSE(placeholder.hasAudited());
    EXPECT_TRUE(placeholder.getRecursive());
    EXPECT_EQ(System_SerializeSelf, placeholder.getSerializationOptions());
    drive.setNXId(0);
    drive.setSerializationOptions(System_SerializeSelf);
    EXPECT_EQ(formOf(drive), formOf(placeholder));
}

class RequestForm : public testing::Test {
protected:
    bool read(const std::string& children) {
        const Xerces_DocumentPtr document = Xerces_Parse("<Disk>" + children + "</Disk>", "request");
        return document != nullptr && disk.parseElements(Xerces_Root(*document));
    }
    Disk disk;
};

TEST_F(RequestForm, TakesItsElements) {
    ASSERT_TRUE(read("<Other/><NXId>0x10</NXId><Recursive>true</Recursive><AllAttrs>TRUE</AllAttrs>"
                     "<NXIdReq>true</NXIdReq>"));
    EXPECT_EQ(16u, disk.getNXId());
    EXPECT_TRUE(disk.getRecursive());
    EXPECT_FALSE(disk.getAllAttributes()) << "only \"true\" as it stands";
    EXPECT_TRUE(disk.getNXIdRequired());
    ASSERT_TRUE(read("<NXId>1</NXId><Recursive>no</Recursive>"));
    EXPECT_EQ(1u, disk.getNXId());
    EXPECT_FALSE(disk.getRecursive());
    EXPECT_TRUE(disk.getNXIdRequired()) << "what is not there stays";
}

TEST_F(RequestForm, InsistsOnARequiredId) {
    EXPECT_TRUE(read(""));
    disk.setNXIdRequired(true);
    EXPECT_FALSE(read(""));
    EXPECT_FALSE(read("<NXId></NXId>"));
    EXPECT_FALSE(read("<NXId><![CDATA[]]></NXId>"));
    EXPECT_TRUE(read("<NXId>5</NXId>"));
}

TEST_F(RequestForm, RefusesAnElementWithoutText) {
    disk.setNXId(3);
    EXPECT_FALSE(read("<NXId>5</NXId><Recursive/>"));
    EXPECT_FALSE(read("<NXId><b/></NXId>"));
    EXPECT_EQ(3u, disk.getNXId());
}

TEST_F(RequestForm, CopiesItselfToTheDefaultBeforeItChanges) {
    Disk defaults;
    disk.setName("template");
    disk.setParseDefault(&defaults);
    ASSERT_TRUE(read("<Recursive>true</Recursive>"));
    EXPECT_EQ("template", defaults.getName());
    EXPECT_FALSE(defaults.getRecursive());
}

TEST_F(RequestForm, CountsItsElements) {
    int required = 3;
    int total = 4;
    disk.getNumParseElements(required, total);
    EXPECT_EQ(3, required);
    EXPECT_EQ(5, total);
    disk.setNXIdRequired(true);
    disk.getNumParseElements(required, total);
    EXPECT_EQ(4, required);
    EXPECT_EQ(6, total);
}

/// The time and memory of a hostile attribute follow its length.
TEST(Object, ReadsAnAttributeOfAnyLength) {
    Disk disk;
    const std::string separators(1 << 20, '+');
    ASSERT_TRUE(parseInto(disk, "<Disk composition='" + separators + "' totalBytes='" +
                                    std::string(100000, '9') + "' name='" + std::string(100000, 'n') +
                                    "'/>"));
    EXPECT_EQ(separators.size() + 1, disk.getComposition().size());
    EXPECT_EQ(std::numeric_limits<std::uint64_t>::max(), disk.getTotalBytes());
    EXPECT_EQ(100000u, disk.getName().size());
}

} // namespace
