#include "files/System_FileSystemObjectLinux.h"
#include "predicates/SystemPredicate_DataSourceFSO.h"
#include "xml/Xerces_Document.h"
#include "xml/Xerces_Serializer.h"

#include <gtest/gtest.h>
#include <xercesc/dom/DOMElement.hpp>

#include <functional>
#include <random>
#include <string>

namespace {

/// A condition over one file.
struct Tested {
    Tested() {
        condition.registerDataSourceMap(&sources);
        condition.registerPredicateFactory(&factory);
        source.registerFSO(&file);
        file.setName("report.log");
        file.setSize(2048);
        file.setIsDirectory(false);
        std::string date = "2026-03-14 09:26:53";
        file.getModifyDT()->parse(&date);
    }
    bool parse(const std::string& xml) {
        const Xerces_DocumentPtr document = Xerces_Parse(xml, "test");
        return document && condition.parse(Xerces_Root(*document));
    }
    /// As the operators' results: "true", "false", or a code.
    std::string result() {
        try {
            if (!condition.copyDataFromSources())
                return "no data";
            return condition.evaluate() ? "true" : "false";
        } catch (const Predicate_Exception& problem) {
            return std::to_string(problem.getCode());
        }
    }

    System_FileSystemObjectLinux file;
    SystemPredicate_DataSourceFSO source;
    Predicate_DataSourceMap sources = {{"", &source}};
    Predicate_PredicateFactory factory;
    Predicate_Condition condition;
};

std::string predicate(const std::string& name, const std::string& op, const std::string& first,
                      const std::string& more = "") {
    return "<Predicate valueName='" + name + "' operator='" + op + "' operand1='" + first + "' " + more +
           "/>";
}

std::string condition(const std::string& members, const std::string& op = "and") {
    return "<Condition logicalOperator='" + op + "'>" + members + "</Condition>";
}

TEST(Condition, IsTakenOrRefused) {
    const std::string good = predicate("size", "greaterThan", "1");
    const std::pair<std::string, const char*> cases[] = {
        {condition(good), "true"},
        {"<Condition>" + good + "<Other/>text</Condition>", "true"},
        {condition(good, "whatever"), "true"},
        {condition(good + predicate("NAME", "contains", "PORT")), "true"},
        {condition(predicate("size", "lessThan", "1") + good, "or"), "true"},
        {condition(condition("", "or")), "false"},
        {condition(condition(condition(""))), "true"},
        {condition(""), "7"},
        {condition(predicate("size", "contains", "1")), "4"},
        {condition(predicate("modifyDT", "equal", "###_modifyDT")), "true"},
        {condition(predicate("createDT", "equal", "")), "true"},
        {condition(predicate("name", "isAnything", "", "operatorModifier='not'")), "false"},
        {condition(predicate("size", "between", "2048", "operand2='###_size'")), "true"},
        {condition(predicate("exists", "equal", "true")), "refused"},
        {condition(predicate("size", "like", "1")), "refused"},
        {condition(predicate("size", "huh", "1")), "refused"},
        {condition(predicate("", "equal", "1")), "refused"},
        {condition(predicate("name", "equal", "###_size")), "refused"},
        {condition(predicate("name", "equal", "###_")), "refused"},
        {condition(predicate("modifyDT", "equal", "2026-3-14")), "refused"},
        {condition(predicate("size", "equal", "1", "valueNameSpace='elsewhere'")), "refused"},
        {condition(good + condition(predicate("none", "equal", "1"))), "refused"},
        {"<Conditions/>", "refused"},
    };
    for (const auto& [xml, expected] : cases) {
        Tested tested;
        const bool taken = tested.parse(xml);
        EXPECT_EQ(taken ? tested.result() : "refused", expected) << xml;
        if (!taken) {
            EXPECT_TRUE(tested.condition.getPredicateList()->empty() &&
                        tested.condition.getConditionList()->empty());
        }
    }
    Tested withoutFactory;
    withoutFactory.condition.registerPredicateFactory(nullptr);
    EXPECT_FALSE(withoutFactory.parse(condition(good)));
}

TEST(Condition, TestsTheCheapFirstAndIsPrinted) {
    Tested tested;
    ASSERT_TRUE(tested.parse(condition(
        predicate("name", "equal", "a") + predicate("size", "lessThan", "1") +
        predicate("modifyDT", "greaterThan", "2026-01-01", "operatorModifier='not'") +
        predicate("isdir", "equal", "true") + condition(predicate("userId", "isAnything", ""), "or"))));
    std::string text;
    ASSERT_TRUE(tested.condition.toString(&text));
    EXPECT_EQ(text, "(('isdir' == 'true') && ('size' < '1') && ('name' == 'a') && ('modifyDT' not > "
                    "'2026-01-01 00:00:00') && "
                    "(('userId' isAnything)))");
    EXPECT_TRUE(tested.condition.isValueNameReferenced("isdir", "true"));
    EXPECT_FALSE(tested.condition.isValueNameReferenced("isdir", "false") ||
                 tested.condition.isValueNameReferenced(nullptr, nullptr));
    Predicate_Condition copy;
    copy.registerDataSourceMap(&tested.sources);
    copy.registerPredicateFactory(&tested.factory);
    std::string copied;
    ASSERT_TRUE(tested.condition.copyInto(&copy) && copy.toString(&copied));
    EXPECT_EQ(copied, text);
}

TEST(Condition, SaysWhyItCannotDecide) {
    Tested tested;
    ASSERT_TRUE(tested.parse(condition(predicate("name", "equal", "a"))));
    const auto code = [&] {
        try {
            tested.condition.evaluate();
            return 0;
        } catch (const Predicate_Exception& problem) {
            return static_cast<int>(problem.getCode());
        }
    };
    tested.source.registerFSO(nullptr);
    EXPECT_EQ(tested.result(), "no data");
    EXPECT_EQ(code(), 3);
    tested.condition.registerDataSourceMap(nullptr);
    EXPECT_EQ(code(), 1);
    tested.condition.setLogicalOperator(static_cast<Predicate_Condition::LogicalOperator>(3));
    EXPECT_EQ(code(), 6);
}

TEST(Condition, IsBounded) {
    const auto nested = [](int levels) {
        std::string xml;
        for (int level = 0; level < levels; ++level)
            xml += "<Condition>";
        for (int level = 0; level < levels; ++level)
            xml += "</Condition>";
        return xml;
    };
    EXPECT_TRUE(Tested().parse(nested(Predicate_Condition::MaximumDepth - 2)));
    EXPECT_FALSE(Tested().parse(nested(Predicate_Condition::MaximumDepth + 1)));
    std::string many;
    for (std::size_t count = 0; count < Predicate_Condition::MaximumMembers; count += 2)
        many += "<Predicate valueName='size' operator='equal' operand1='1'/><Condition/>";
    EXPECT_TRUE(Tested().parse(condition(many)));
    for (const std::string& more : {predicate("size", "equal", "1"), condition("")})
        EXPECT_FALSE(Tested().parse(condition(many + more)));
}

/// Random trees against the plainest evaluation there can be.
TEST(Condition, DecidesAsItsWordsSay) {
    std::mt19937 random(20240611); // NOLINT(cert-msc32-c,cert-msc51-cpp): the same trees every time
    using Judge = std::function<bool(const System_FileSystemObject&)>;
    const auto leaf = [&](std::string& xml) -> Judge {
        const bool isNot = random() % 2 == 0;
        const std::string more = isNot ? "operatorModifier='not'" : "";
        const unsigned number = random() % 8;
        switch (random() % 4) {
        case 0:
            xml += predicate("size", "lessThan", std::to_string(number), more);
            return [=](const auto& fso) { return (fso.getSize() < number) != isNot; };
        case 1:
            xml += predicate("groupId", "between", "2", "operand2='" + std::to_string(number) + "' " + more);
            return [=](const auto& fso) {
                return (fso.getGroupId() >= 2 && fso.getGroupId() <= number) != isNot;
            };
        case 2:
            xml += predicate("isdir", "equal", "true", more);
            return [=](const auto& fso) { return fso.getIsDirectory() != isNot; };
        default:
            xml += predicate("name", "beginsWith", std::string(1, static_cast<char>('A' + number)), more);
            return [=](const auto& fso) {
                return (fso.getName()[0] - 'a' == static_cast<int>(number)) != isNot;
            };
        }
    };
    const std::function<Judge(std::string&, int)> tree = [&](std::string& xml, int depth) -> Judge {
        const bool isOr = random() % 2 == 0;
        std::vector<Judge> members;
        std::string inside;
        for (unsigned count = 1 + random() % 3; count > 0; --count)
            members.push_back(depth > 0 && random() % 2 == 0 ? tree(inside, depth - 1) : leaf(inside));
        xml += condition(inside, isOr ? "or" : "and");
        return [=](const auto& fso) {
            for (const Judge& member : members)
                if (member(fso) == isOr)
                    return isOr;
            return !isOr;
        };
    };
    for (int round = 0; round < 500; ++round) {
        Tested tested;
        std::string xml;
        const Judge judge = tree(xml, 4);
        ASSERT_TRUE(tested.parse(xml)) << xml;
        const Xerces_DocumentPtr written = Xerces_CreateDocument("r");
        ASSERT_TRUE(tested.condition.serialize(written.get(), Xerces_Root(*written), nullptr));
        Tested again;
        ASSERT_TRUE(again.condition.parse(Xerces_ChildElements(*Xerces_Root(*written)).front()));
        for (int file = 0; file < 20; ++file) {
            for (Tested* each : {&tested, &again}) {
                each->file.setSize(random() % 8);
                each->file.setGroupId(random() % 8);
                each->file.setIsDirectory(random() % 2 == 0);
                each->file.setName(std::string(1, static_cast<char>('a' + random() % 8)).c_str());
                EXPECT_EQ(each->result(), judge(each->file) ? "true" : "false") << xml;
            }
        }
    }
}

} // namespace
