#include "model/Audit_XML.h"
#include "model/Auditable_Auditable.h"
#include "model/System_AuditFailures.h"
#include "model/System_Object.h"

#include <gtest/gtest.h>

#include <string>

namespace {

class Anything : public Auditable_Auditable {
public:
    bool audit() override { return true; }
};

TEST(Auditable, KeepsTheFirstValueOfAParameter) {
    Anything object;
    EXPECT_EQ(nullptr, object.getAuditParameterValue("hostTarget"));
    EXPECT_TRUE(object.setAuditParameterValue("hostTarget", "a"));
    EXPECT_TRUE(object.setAuditParameterValue("hostTarget", "b"));
    EXPECT_STREQ("a", object.getAuditParameterValue("hostTarget"));
    EXPECT_EQ(nullptr, object.getAuditParameterValue("userName"));
}

TEST(Auditable, RefusesNullParameters) {
    Anything object;
    EXPECT_FALSE(object.setAuditParameterValue(nullptr, "a"));
    EXPECT_FALSE(object.setAuditParameterValue("key", nullptr));
    EXPECT_EQ(nullptr, object.getAuditParameterValue(nullptr));
    EXPECT_EQ(nullptr, object.getAuditParameterValue("key"));
    EXPECT_FALSE(object.copyAuditParameters(nullptr));
}

TEST(Auditable, CopiesParametersWithoutReplacing) {
    Anything from;
    from.setAuditParameterValue("userName", "operator");
    from.setAuditParameterValue("empty", "");
    Anything to;
    to.setAuditParameterValue("userName", "own");
    EXPECT_TRUE(to.copyAuditParameters(&from));
    EXPECT_STREQ("own", to.getAuditParameterValue("userName"));
    EXPECT_STREQ("", to.getAuditParameterValue("empty"));
    EXPECT_TRUE(to.copyAuditParameters(&to));
}

/// An object counts its parameters by what its virtual setter is told.
TEST(Auditable, CopiesThroughTheVirtualSetter) {
    class Counting : public Anything {
    public:
        bool setAuditParameterValue(const char* key, const char* value) override {
            ++calls;
            return Anything::setAuditParameterValue(key, value);
        }
        int calls = 0;
    };
    Anything from;
    from.setAuditParameterValue("a", "1");
    from.setAuditParameterValue("b", "2");
    Counting to;
    EXPECT_TRUE(to.copyAuditParameters(&from));
    EXPECT_EQ(2, to.calls);
}

TEST(AuditFailures, WritesItemsByNameAndNothingWhenEmpty) {
    System_AuditFailures failures;
    const Xerces_DocumentPtr document = Xerces_CreateDocument("Response");
    xercesc::DOMElement* root = Xerces_Root(*document);
    EXPECT_TRUE(failures.serialize(document.get(), root, nullptr));
    EXPECT_TRUE(Xerces_ChildElements(*root).empty());

    EXPECT_TRUE(failures.record("/dev/sdb", System_Object::PhysicalDrive));
    EXPECT_TRUE(failures.record("/data <&\"", System_Object::StorageVolume));
    EXPECT_TRUE(failures.record("/dev/sdb", System_Object::DriveExtent)) << "the first record stands";
    EXPECT_FALSE(failures.record(nullptr, System_Object::Plex));
    EXPECT_TRUE(failures.serialize(document.get(), root, nullptr));
    const std::string text = Xerces_Serialize(*document);
    EXPECT_NE(
        std::string::npos,
        text.find("<AuditFailedItems><FailedObject name=\"/data &lt;&amp;&quot;\" type=\"StorageVolume\"/>"
                  "<FailedObject name=\"/dev/sdb\" type=\"PhysicalDrive\"/></AuditFailedItems>"))
        << text;
    EXPECT_FALSE(failures.serialize(nullptr, root, nullptr));
    EXPECT_FALSE(failures.serialize(document.get(), nullptr, nullptr));
}

TEST(AuditFailures, IsBounded) {
    System_AuditFailures failures;
    for (int number = 0; number < 20001; ++number)
        ASSERT_TRUE(failures.record(std::to_string(number).c_str(), System_Object::FSO)) << number;
    EXPECT_FALSE(failures.record("20001", System_Object::FSO));

    const Xerces_DocumentPtr document = Xerces_CreateDocument("Response");
    ASSERT_TRUE(failures.serialize(document.get(), Xerces_Root(*document), nullptr));
    EXPECT_EQ(20001u, Xerces_Descendants(*Xerces_Root(*document), "FailedObject").size());

    failures.deallocateFailures();
    EXPECT_TRUE(failures.record("again", System_Object::FSO));
}

TEST(ObjectTypePair, SaysNothingForANumberThatIsNoType) {
    System_ObjectTypePair pair;
    EXPECT_STREQ("StorageVolume", pair.getStorageTypeString());
    pair.setType(System_Object::LVMGroup);
    EXPECT_STREQ("LVMGroup", pair.getStorageTypeString());
    pair.setType(17);
    EXPECT_STREQ("", pair.getStorageTypeString());
    pair.setType(-1);
    EXPECT_STREQ("", pair.getStorageTypeString());
}

} // namespace
