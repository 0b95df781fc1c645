// What a person looks for, as the condition that the agent gets.

#include "predicates/SystemPredicate_DataSourceFSO.h"
#include "qdvctl/Ctl_Failure.h"
#include "qdvctl/Ctl_Layers.h"
#include "qdvctl/Ctl_SearchExpression.h"
#include "xml/Xerces_Document.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace {

using testing::HasSubstr;

/// The condition as the agent reads and logs it: numbers and flags first, then in order.
std::string readByAgent(const std::string& xml) {
    const Xerces_DocumentPtr document = Xerces_Parse(xml, "condition");
    SystemPredicate_DataSourceFSO source;
    const Predicate_DataSourceMap sources = {{"", &source}};
    const Predicate_PredicateFactory factory;
    Predicate_Condition condition;
    condition.registerDataSourceMap(&sources);
    condition.registerPredicateFactory(&factory);
    std::string text;
    if (!document || !condition.parse(Xerces_Root(*document)) || !condition.toString(&text))
        return "refused: " + xml;
    return text;
}

TEST(SearchExpression, BecomesAConditionThatTheAgentReads) {
    const Ctl_Layers layers(Ctl_Layers::XmlOnly);
    const struct {
        const char* expression;
        const char* read;
    } rows[] = {
        {"size > 1M and (name endsWith .log or modified > 2026-01-01) and not userId = root",
         "(('size' > '1048576') && ('userId' not == 'root') && "
         "(('name' ends with '.log') || ('modifyDT' > '2026-01-01 23:59:59')))"},
        // precedence, chains, negation of groups
        {"dir or size=1 AND name=a||ext!=b",
         "(('isdir' == 'true') || ('extension' not == 'b') || (('size' == '1') && ('name' == 'a')))"},
        {"!(name=a && !(name=b or not not name=c) and (name=d))",
         "(('name' not == 'a') || ('name' == 'b') || ('name' == 'c') || ('name' not == 'd'))"},
        {"((NAME Contains a and name<b) or name>=c)",
         "(('name' >= 'c') || (('name' contains 'a') && ('name' < 'b')))"},
        // flags
        {"not dir or isdir!=True or dir = 'false'",
         "(('isdir' == 'false') || ('isdir' == 'false') || ('isdir' == 'false'))"},
        // text and quotations
        {R"(name = 'a "b" \n' or path beginsWith "/\"\\\x0a\xfF" or name = 'and')",
         "(('name' == 'a \"b\" \\n') || ('path' begins with '/\"\\\n\xFF') || ('name' == 'and'))"},
        {"name = \xE4\xB8\xAD\xFF or name > '' or name contains '<&\x1B'",
         "(('name' == '\xE4\xB8\xAD\xFF') || ('name' > '') || ('name' contains '<&\x1B'))"},
        // numbers; the agent would take a leading zero for an octal one
        {"size<=1.5KiB or size<010", "(('size' < '10') || ('size' <= '1536'))"},
        {"size>0.1k or size!=16383.99999999999999999999P",
         "(('size' not == '18446744073709551615') || ('size' > '102'))"},
        {"size between 1m and 2MB and group=0 and dir and sizeRecursive<size",
         "(('sizeRecursive' < '0') && ('isdir' == 'true') && ('groupId' == '0') && "
         "('size' between '1048576' and '2097152'))"},
        // dates: a day is all its seconds
        {"modified >= 2024-02-29 or accessed < 2026-01-31 12:30 or accessed <= '2026-01-31T12:30'",
         "(('modifyDT' >= '2024-02-29 00:00:00') || ('accessDT' < '2026-01-31 12:30:00') || "
         "('accessDT' <= '2026-01-31 12:30:59'))"},
        {"modified != 2026-01-01 and not modified between 2026-01-01 and 2026-01-02 23:00:01",
         "(('modifyDT' not between '2026-01-01 00:00:00' and '2026-01-01 23:59:59') && "
         "('modifyDT' not between '2026-01-01 00:00:00' and '2026-01-02 23:00:01'))"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(readByAgent(Ctl_SearchCondition(row.expression)), row.read) << row.expression;
    EXPECT_EQ(Ctl_SearchCondition("modified = accessed"),
              "<Condition logicalOperator=\"and\"><Predicate valueName=\"modifyDT\" operator=\"equal\" "
              "operand1=\"###_accessDT\"/></Condition>");
    const std::string nested = std::string(200, '(') + "dir" + std::string(200, ')');
    EXPECT_EQ(readByAgent(Ctl_SearchCondition(nested)), "(('isdir' == 'true'))");
}

TEST(SearchExpression, IsRefusedWithThePlaceOfTheFault) {
    const struct {
        std::string expression;
        std::string message;
    } rows[] = {
        {"", "column 1: the name of a value, such as name or size, is expected, and the expression ends"},
        {"name=\xC3\xA4 and foo=1", "column 12: there is no value \"foo\"; there are dir, "},
        {"size contains 1",
         "column 6: \"contains\" does not fit \"size\", which is a number; what fits is = != <"},
        {"dir > true", "column 5: \">\" does not fit"},
        {"name log", "column 6: an operator (= != "},
        {"name =", "column 7: text is expected, and the expression ends"},
        {"name = or", "column 8: text (here in quotes) is expected instead of \"or\""},
        {"dir = yes", "column 7: true or false is expected"},
        {"dir dir", "column 5: \"and\" or \"or\" is expected instead of \"dir\""},
        {"(dir", "column 1: there is no \")\""},
        {"dir)", "column 4: there is no \"(\""},
        {"dir & dir", "column 5: \"&&\" and \"||\""},
        {"name='a", "column 6: this quotation does not end"},
        {"name=\"\\x0\"", "column 7: within \"...\""},
        {"name=\"\\x00\"", "column 7: within \"...\""},
        {std::string("name=a\0b", 8), "column 7: there is a zero byte"},
        {"name=###_path", "column 6: the agent takes no text"},
        {"size>16384P", "column 6: \"16384P\" is no size"},
        {"size>1.5", "column 6: \"1.5\" is no size"},
        {"size>-1", "column 6: \"-1\" is no size"},
        {"size=modified", "column 6: \"modified\" is no size"},
        {"group=1k", "column 7: \"1k\" is no whole number"},
        {"modified>2026-02-29", "column 10: \"2026-02-29\" is no date"},
        {"modified>2026-02-28 24:00", "column 10: \"2026-02-28 24:00\" is no date"},
        {"size between 2K and 1024", "column 14: nothing is between"},
        {"size between 1 or 2", "column 16: \"and\" with the greater one"},
        {"not dir and numFiles > 1", "column 13: \"numFiles\" is counted only for directories"},
        {std::string(201, '('), "column 201: more than 200 parentheses"},
    };
    for (const auto& row : rows) {
        try {
            ADD_FAILURE() << row.expression << " became " << Ctl_SearchCondition(row.expression);
        } catch (const Ctl_Failure& failure) {
            EXPECT_THAT(failure.what(), testing::StartsWith(row.message));
        }
    }
    try {
        Ctl_SearchCondition("name=\xC3\xA4\xFF\tor\nfoo");
        ADD_FAILURE();
    } catch (const Ctl_Failure& failure) {
        EXPECT_EQ(failure.place(), "name=\xC3\xA4\\xff or foo\n              ^") << "as wide as it is shown";
    }
}

} // namespace
