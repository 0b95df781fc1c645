#include "model/Audit_XML.h"
#include "model/Storage_MapCollection.h"
#include "model/System_AuditFailures.h"
#include "model/System_Object.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

std::vector<std::string> gone;
std::vector<std::string> cleaned;
bool factoryWorks = true;

/// A member that tells what becomes of it, and fails to be read or written if its name says so.
class Slice : public System_Object {
public:
    ~Slice() override { gone.push_back(getName()); }
    StorageType getStorageType() const override { return DriveExtent; }
    bool audit() override { return true; }
    bool cleanupAfterAudit() override {
        cleaned.push_back(getName());
        return true;
    }
    using System_Object::operator=;
    bool parse(xercesc::DOMElement* element) override {
        return System_Object::parse(element) && getName() != "unreadable";
    }
    bool serialize(xercesc::DOMDocument* document, xercesc::DOMElement* parent,
                   xercesc::DOMElement* element) override {
        return getName() != "unwritable" && serializeObject(*this, "Slice", document, parent, element);
    }
};

struct SlicesShape {
    using Member = Slice;
    static constexpr const char* element = "Slices";
    static constexpr const char* memberElement = "Slice";
    static std::unique_ptr<Slice> allocate() { return factoryWorks ? std::make_unique<Slice>() : nullptr; }
};

class Slices : public Storage_MapCollection<SlicesShape> {
public:
    bool audit() override {
        recordFailure("/dev/sda9", System_Object::DriveExtent);
        setAuditResult(true);
        setAudited();
        return true;
    }
};

class Collection : public testing::Test {
protected:
    void SetUp() override { reset(); }
    static void reset() {
        gone.clear();
        cleaned.clear();
        factoryWorks = true;
    }
    bool add(const char* name, std::uint64_t bytes = 0) {
        auto slice = std::make_unique<Slice>();
        slice->setName(name);
        slice->setTotalBytes(bytes);
        return slices.insert(std::move(slice));
    }
    std::vector<std::string> names() const {
        std::vector<std::string> result;
        for (const auto& entry : slices.getMap())
            result.push_back(entry.first);
        return result;
    }
    using Names = std::vector<std::string>;
    Slices slices;
};

TEST_F(Collection, HoldsANameOnce) {
    EXPECT_TRUE(add("b", 1));
    EXPECT_TRUE(add("a"));
    EXPECT_FALSE(add("b", 2));
    EXPECT_EQ(Names{"b"}, gone);
    EXPECT_EQ((Names{"a", "b"}), names());
    EXPECT_EQ(1u, slices.getMap().at("b")->getTotalBytes());
}

TEST_F(Collection, WritesMembersSortedByName) {
    add("/dev/sdb1");
    add("/dev/sda2");
    add("/dev/sda10");
    const std::string form = formOf(slices);
    const Xerces_DocumentPtr document = Xerces_Parse(form, "form");
    ASSERT_NE(nullptr, document);
    const auto collections = Xerces_ChildElements(*Xerces_Root(*document));
    ASSERT_EQ(1u, collections.size());
    EXPECT_EQ("Slices", Xerces_TagName(*collections[0]));
    Names written;
    for (const auto* member : Xerces_ChildElements(*collections[0], "Slice"))
        written.push_back(Xerces_GetAttribute(*member, "name"));
    EXPECT_EQ((Names{"/dev/sda10", "/dev/sda2", "/dev/sdb1"}), written);

    Slices copy;
    ASSERT_TRUE(copy.parse(collections[0]));
    EXPECT_EQ(form, formOf(copy));
}

TEST_F(Collection, WritesAnEmptyElementWithoutMembers) {
    EXPECT_EQ("<Root><Slices/></Root>", formOf(slices));
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

TEST_F(Collection, CleansUpItsMembersAndIsEmpty) {
    add("a");
    add("b");
    EXPECT_TRUE(slices.prepareForAudit());
    EXPECT_TRUE(slices.cleanupAfterAudit());
    EXPECT_EQ((Names{"a", "b"}), cleaned);
    EXPECT_THAT(gone, testing::UnorderedElementsAre("a", "b"));
    EXPECT_TRUE(slices.getMap().empty());
}

TEST_F(Collection, DeletesItsMembersWhenItGoes) {
    {
        Slices short_lived;
        auto slice = std::make_unique<Slice>();
        slice->setName("a");
        short_lived.insert(std::move(slice));
    }
    EXPECT_EQ(Names{"a"}, gone);
}

TEST_F(Collection, ReadsMembersAndPassesOverTheRest) {
    ASSERT_TRUE(parseInto(slices,
                          "<Slices>text<Slice name='b'/><Plex name='x'/><Slice name='a' totalBytes='9'/>"
                          "<Slice name='a' totalBytes='8'/><Slice/></Slices>"));
    EXPECT_EQ((Names{"", "a", "b"}), names());
    EXPECT_EQ(9u, slices.getMap().at("a")->getTotalBytes());
}

TEST_F(Collection, IsEmptyAfterAFailedReading) {
    add("before");
    EXPECT_FALSE(parseInto(slices, "<Plexes><Slice name='a'/></Plexes>"));
    EXPECT_TRUE(slices.getMap().empty());
    EXPECT_FALSE(parseInto(slices, "<Slices><Slice name='a'/><Slice name='unreadable'/></Slices>"));
    EXPECT_TRUE(slices.getMap().empty());
    EXPECT_EQ((Names{"before", "unreadable", "a"}), gone) << "each of them deleted, once";
    factoryWorks = false;
    EXPECT_FALSE(parseInto(slices, "<Slices><Slice name='a'/></Slices>"));
    EXPECT_TRUE(parseInto(slices, "<Slices/>"));
    EXPECT_FALSE(slices.parse(nullptr));
}

TEST_F(Collection, RecordsFailedItemsWithItsHandlerIfItHasOne) {
    EXPECT_FALSE(slices.hasAudited());
    EXPECT_TRUE(slices.audit());
    EXPECT_TRUE(slices.hasAudited());
    EXPECT_TRUE(slices.getAuditResult());

    System_AuditFailures failures;
    slices.registerAuditFailureHandler(&failures);
    EXPECT_TRUE(slices.audit());
    const Xerces_DocumentPtr document = Xerces_CreateDocument("Root");
    ASSERT_TRUE(failures.serialize(document.get(), Xerces_Root(*document), nullptr));
    const auto items = Xerces_Descendants(*Xerces_Root(*document), "FailedObject");
    ASSERT_EQ(1u, items.size());
    EXPECT_EQ("/dev/sda9", Xerces_GetAttribute(*items[0], "name"));
    EXPECT_EQ("DriveExtent", Xerces_GetAttribute(*items[0], "type"));
}

TEST_F(Collection, CanBeToldToStop) {
    bool terminate = true;
    EXPECT_TRUE(slices.isTerminateSet(terminate));
    EXPECT_FALSE(terminate);
    EXPECT_TRUE(slices.setToTerminate());
    EXPECT_TRUE(slices.isTerminateSet(terminate));
    EXPECT_TRUE(terminate);
}

} // namespace
