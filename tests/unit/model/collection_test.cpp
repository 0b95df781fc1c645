#include "model/Audit_XML.h"
#include "model/Storage_MapCollection.h"
#include "model/System_AuditFailures.h"
#include "model/System_XMLObject.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace {

using Names = std::vector<std::string>;

Names gone;
Names cleaned;
bool factoryWorks = true;

/// A member that tells what becomes of it, and fails in what its name says.
class Slice : public System_XMLObject<Slice, System_Object::DriveExtent> {
public:
    ~Slice() override { gone.push_back(getName()); }
    bool audit() override {
        return getName() == "faulty" ? throw std::runtime_error("a fault") : getName() != "failing";
    }
    bool cleanupAfterAudit() override {
        cleaned.push_back(getName());
        return true;
    }
    using System_XMLObject::operator=;
    bool parse(xercesc::DOMElement* element) override {
        return System_XMLObject::parse(element) && getName() != "unreadable";
    }
    bool serialize(xercesc::DOMDocument* document, xercesc::DOMElement* parent,
                   xercesc::DOMElement* element) override {
        return getName() != "unwritable" && System_XMLObject::serialize(document, parent, element);
    }
};

std::unique_ptr<Slice> makeSlice() {
    return factoryWorks ? std::make_unique<Slice>() : nullptr;
}

class Slices : public Storage_MapCollection<Slice, System_Object::DriveExtents, makeSlice> {
public:
    bool audit() override {
        recordFailure("/dev/sda9", System_Object::DriveExtent);
        return true;
    }
};

class Collection : public testing::Test {
protected:
    void SetUp() override {
        gone.clear();
        cleaned.clear();
        factoryWorks = true;
    }
    Storage_Admission add(const char* name, std::uint64_t bytes = 0) {
        auto slice = makeSlice();
        slice->setName(name);
        slice->setTotalBytes(bytes);
        return slices.auditAndInsert(std::move(slice));
    }
    Names names() const {
        Names result;
        for (const auto& entry : slices.getMap())
            result.push_back(entry.first);
        return result;
    }
    Slices slices;
};

TEST_F(Collection, TakesInOnceWhatCanBeAudited) {
    EXPECT_EQ(add("b", 1), Storage_Admission::Inserted);
    EXPECT_EQ(add("a"), Storage_Admission::Inserted);
    EXPECT_EQ(add("b", 2), Storage_Admission::AlreadyThere);
    EXPECT_EQ(add("failing"), Storage_Admission::Failed);
    EXPECT_EQ(add("faulty"), Storage_Admission::Failed);
    EXPECT_EQ(cleaned, (Names{"failing", "faulty"}));
    EXPECT_EQ(gone, (Names{"b", "failing", "faulty"}));
    EXPECT_EQ(names(), (Names{"a", "b"}));
    EXPECT_EQ(slices.getMap().at("b")->getTotalBytes(), 1u);
    EXPECT_FALSE(slices.insert(Slices::makePlaceholder(*slices.getMap().at("a"))) &&
                 slices.insert(Slices::makePlaceholder(*slices.getMap().at("a"))));
    EXPECT_EQ(names(), (Names{"NULLDriveExtent_a", "a", "b"}));
    factoryWorks = false;
    EXPECT_EQ(Slices::makePlaceholder(*slices.getMap().at("a")), nullptr);

    cleaned.clear();
    EXPECT_TRUE(slices.cleanupAfterAudit());
    EXPECT_EQ(cleaned, (Names{"NULLDriveExtent_a", "a", "b"}));
    EXPECT_EQ(gone.size(), 7u);
    EXPECT_TRUE(slices.getMap().empty());
}

TEST_F(Collection, LeavesNoTraceOfAFormThatFailed) {
    add("a");
    add("unwritable");
    const Xerces_DocumentPtr document = Xerces_CreateDocument("Root");
    xercesc::DOMElement* root = Xerces_Root(*document);
    EXPECT_FALSE(slices.serialize(document.get(), root, nullptr));
    EXPECT_TRUE(Xerces_ChildElements(*root).empty());
    EXPECT_FALSE(slices.serialize(nullptr, root, nullptr));
    EXPECT_FALSE(Slices().serialize(document.get(), nullptr, nullptr));
}

TEST_F(Collection, ReadsMembersAndPassesOverTheRest) {
    ASSERT_TRUE(parseInto(slices,
                          "<DriveExtents>text<DriveExtent name='b'/><Plex name='x'/>"
                          "<DriveExtent name='a' totalBytes='9'/><DriveExtent name='a' totalBytes='8'/>"
                          "<DriveExtent/></DriveExtents>"));
    EXPECT_EQ(names(), (Names{"", "a", "b"}));
    EXPECT_EQ(slices.getMap().at("a")->getTotalBytes(), 9u);
}

TEST_F(Collection, IsEmptyAfterAFailedReading) {
    add("before");
    EXPECT_FALSE(parseInto(slices, "<Plexes><DriveExtent name='a'/></Plexes>"));
    EXPECT_TRUE(slices.getMap().empty());
    EXPECT_FALSE(parseInto(
        slices, "<DriveExtents><DriveExtent name='a'/><DriveExtent name='unreadable'/></DriveExtents>"));
    EXPECT_TRUE(slices.getMap().empty());
    EXPECT_EQ(gone, (Names{"before", "unreadable", "a"})) << "each of them deleted, once";
    factoryWorks = false;
    EXPECT_FALSE(parseInto(slices, "<DriveExtents><DriveExtent name='a'/></DriveExtents>"));
    EXPECT_TRUE(parseInto(slices, "<DriveExtents/>"));
    EXPECT_FALSE(slices.parse(nullptr));
}

TEST_F(Collection, RecordsFailedItemsWithItsHandlerIfItHasOne) {
    EXPECT_TRUE(slices.audit());
    System_AuditFailures failures;
    slices.registerAuditFailureHandler(&failures);
    EXPECT_TRUE(slices.audit());
    const Xerces_DocumentPtr document = Xerces_CreateDocument("Root");
    ASSERT_TRUE(failures.serialize(document.get(), Xerces_Root(*document), nullptr));
    EXPECT_NE(Xerces_Serialize(*document).find(R"(<FailedObject name="/dev/sda9" type="DriveExtent"/>)"),
              std::string::npos);
}

} // namespace
