#include "model/Audit_XML.h"
#include "model/Auditable_Auditable.h"
#include "model/System_AuditFailures.h"
#include "model/System_Object.h"

#include <gtest/gtest.h>

#include <string>

namespace {

/// Counts what its virtual setter is told.
class Anything : public Auditable_Auditable {
public:
    bool audit() override { return true; }
    bool setAuditParameterValue(const char* key, const char* value) override {
        ++calls;
        return Auditable_Auditable::setAuditParameterValue(key, value);
    }
    int calls = 0;
};

TEST(Auditable, AParameterKeepsItsFirstValue) {
    Anything from;
    EXPECT_EQ(from.getAuditParameterValue("hostTarget"), nullptr);
    EXPECT_TRUE(from.setAuditParameterValue("hostTarget", "a"));
    EXPECT_TRUE(from.setAuditParameterValue("hostTarget", "b"));
    EXPECT_TRUE(from.setAuditParameterValue("empty", ""));
    EXPECT_STREQ(from.getAuditParameterValue("hostTarget"), "a");
    EXPECT_FALSE(from.setAuditParameterValue(nullptr, "a"));
    EXPECT_FALSE(from.setAuditParameterValue("key", nullptr));
    EXPECT_EQ(from.getAuditParameterValue(nullptr), nullptr);
    EXPECT_EQ(from.getAuditParameterValue("key"), nullptr);

    Anything to;
    to.setAuditParameterValue("hostTarget", "own");
    EXPECT_TRUE(to.copyAuditParameters(&from));
    EXPECT_EQ(to.calls, 3) << "copied through the virtual setter";
    EXPECT_STREQ(to.getAuditParameterValue("hostTarget"), "own");
    EXPECT_STREQ(to.getAuditParameterValue("empty"), "");
    EXPECT_TRUE(to.copyAuditParameters(&to));
    EXPECT_FALSE(to.copyAuditParameters(nullptr));
}

TEST(AuditFailures, WriteItemsByNameAndNothingWhenEmpty) {
    System_AuditFailures failures;
    const Xerces_DocumentPtr document = Xerces_CreateDocument("Response");
    xercesc::DOMElement* root = Xerces_Root(*document);
    EXPECT_TRUE(failures.serialize(document.get(), root, nullptr));
    EXPECT_TRUE(failures.record("/dev/sdb", System_Object::PhysicalDrive));
    EXPECT_TRUE(failures.record("/data <&\"", System_Object::StorageVolume));
    EXPECT_TRUE(failures.record("no type", 17));
    EXPECT_TRUE(failures.record("/dev/sdb", System_Object::DriveExtent)) << "the first record stands";
    EXPECT_FALSE(failures.record(nullptr, System_Object::Plex));
    EXPECT_FALSE(failures.serialize(nullptr, root, nullptr));
    EXPECT_FALSE(failures.serialize(document.get(), nullptr, nullptr));
    EXPECT_TRUE(failures.serialize(document.get(), root, nullptr));
    EXPECT_EQ(
        Xerces_Serialize(*document).substr(55),
        "<Response><AuditFailedItems><FailedObject name=\"/data &lt;&amp;&quot;\" type=\"StorageVolume\"/>"
        "<FailedObject name=\"/dev/sdb\" type=\"PhysicalDrive\"/><FailedObject name=\"no type\" type=\"\"/>"
        "</AuditFailedItems></Response>");
}

TEST(AuditFailures, AreBounded) {
    System_AuditFailures failures;
    for (int number = 0; number < 20001; ++number)
        ASSERT_TRUE(failures.record(std::to_string(number).c_str(), System_Object::FSO)) << number;
    EXPECT_FALSE(failures.record("20001", System_Object::FSO));
    failures.deallocateFailures();
    EXPECT_TRUE(failures.record("again", System_Object::FSO));
}

} // namespace
