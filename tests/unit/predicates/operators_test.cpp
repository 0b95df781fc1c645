#include "predicates/Predicate_PredicateFactory.h"
#include "predicates/SystemPredicate_PredicateDate.h"

#include <gtest/gtest.h>

#include <string>

namespace {

/// "true", "false", or the code of what was thrown. Every result turns round with "not".
std::string result(const char* type, const char* value, const char* op, const char* first,
                   const char* second) {
    const auto predicate = Predicate_PredicateFactory().createPredicate(type);
    predicate->setOperator(Predicate_Predicate::operatorFromString(op));
    EXPECT_TRUE(predicate->getRecipient()->parseValue(value));
    predicate->setValueSet(true);
    if (!predicate->parseFirstOperand(first) || !predicate->parseSecondOperand(second))
        return "no operand";
    try {
        const bool found = predicate->evaluate();
        predicate->setOperatorModifier(Predicate_Predicate::Not);
        EXPECT_NE(predicate->evaluate(), found);
        return found ? "true" : "false";
    } catch (const Predicate_Exception& problem) {
        return std::to_string(problem.getCode());
    }
}

TEST(Operators, CompareAsTheirTypesDo) {
    struct Case {
        const char* type;
        const char* value;
        const char* op;
        const char* first;
        const char* second;
        const char* expected;
    };
    constexpr Case cases[] = {
        {"boolean", "true", "equal", "TRUE", "", "true"},
        {"boolean", "true", "equal", "yes", "", "false"},
        {"boolean", "true", "greaterThan", "true", "", "4"},
        {"uinteger", "16", "equal", "0x10", "", "true"},
        {"uinteger", "8", "equal", "010", "", "true"},
        {"uinteger", "5", "greaterThan", "5", "", "false"},
        {"uinteger", "5", "greaterThanOrEqualTo", "5", "", "true"},
        {"uinteger", "5", "lessThan", "-1", "", "true"},
        {"integer", "5", "lessThan", "-1", "", "false"},
        {"integer", "-2", "lessThanOrEqualTo", "-1", "", "true"},
        {"uinteger", "5", "between", "5", "5", "true"},
        {"uinteger", "5", "between", "6", "4", "false"},
        {"uinteger", "5", "contains", "5", "", "4"},
        {"uinteger", "0", "equal", "", "", "true"},
        {"float", "1.5", "between", "1.5", "2", "true"},
        {"float", "nan", "lessThanOrEqualTo", "1", "", "false"},
        {"float", "1", "endsWith", "1", "", "4"},
        {"hexinteger", "1F", "equal", "0x1f", "", "true"},
        {"string", "Abc", "equal", "aBC", "", "true"},
        {"string", "abc", "beginsWith", "AB", "", "true"},
        {"string", "abc", "endsWith", "BC", "", "true"},
        {"string", "abc", "endsWith", "xabc", "", "false"},
        {"string", "abc", "contains", "B", "", "true"},
        {"string", "abc", "contains", "abcd", "", "false"},
        {"string", "", "contains", "", "", "true"},
        {"string", "", "beginsWith", "", "", "true"},
        {"string", "", "endsWith", "", "", "true"},
        {"string", "b", "between", "A", "C", "true"},
        {"string", "x", "isAnything", "", "", "true"},
        {"hexstring", "1f", "greaterThan", "0x1E", "", "true"},
        {"hexstring", "xyz", "contains", "Y", "", "true"},
        {"date", "2026-03-14 09:26:53", "between", "2026-03-14 09:26:53", "2026-03-15", "true"},
        {"date", "2026-03-14", "lessThan", "", "", "false"},
        {"date", "2026-03-14", "greaterThan", "2026-3-14", "", "no operand"},
        {"date", "2026-03-14", "contains", "2026-03-14", "", "4"},
        {"date", "2026-03-14", "isAnything", "", "", "5"},
    };
    for (const Case& each : cases)
        EXPECT_EQ(result(each.type, each.value, each.op, each.first, each.second), each.expected)
            << each.type << ' ' << each.value << ' ' << each.op << ' ' << each.first;
    EXPECT_EQ(Predicate_PredicateFactory().createPredicate("FSO"), nullptr);
    EXPECT_EQ(Predicate_PredicateFactory().createPredicate(nullptr), nullptr);
}

TEST(Operators, PrintTheirOperands) {
    constexpr const char* cases[][3] = {
        {"integer", "-1", "-1"},
        {"uinteger", "-1", "18446744073709551615"},
        {"hexinteger", "5", "05"},
        {"hexinteger", "0xabc", "ABC"},
        {"float", "1.5x", "1.500000"},
        {"boolean", "True", "true"},
        {"date", "2026-03-14", "2026-03-14 00:00:00"},
        {"string", "a b", "a b"},
    };
    for (const auto& [type, operand, expected] : cases) {
        const auto predicate = Predicate_PredicateFactory().createPredicate(type);
        std::string text;
        ASSERT_TRUE(predicate->parseFirstOperand(operand) && predicate->serializeFirstOperand(&text));
        EXPECT_EQ(text, expected);
    }
}

} // namespace
