#include <gtest/gtest.h>

#include "core/macros/ConditionEvaluator.h"

namespace wordloom {
namespace {

struct Case {
    const char* condition;
    bool expected;
};

TEST(ConditionEvaluator, ComparisonOperators) {
    const Case cases[] = {
        {"pro == pro", true},
        {"pro == Pro", false},
        {" pro = pro ", true},
        {"a != b", true},
        {"a != a", false},
        {"Pro ~= pRO", true},
        {"Straße ~~ STRASSE", true},
        {"abc ~= abd", false},
        {"order-123 =~ ^order-\\d+$", true},
        {"order =~ ^\\d", false},
        {"10 > 9", true},
        {"10 > 9.5", true},
        {"b > a", true},
        {"10 >= 10", true},
        {"-1 < 0", true},
        {"apple <= banana", true},
        {"2 < 10", true},
        {"x2 < x10", false},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(ConditionEvaluator::evaluate(c.condition).value, c.expected) << c.condition;
    }
}

TEST(ConditionEvaluator, FirstOperatorInTheFixedOrderWins) {
    // "==" is tried before "=": "a==b=c" compares "a" with "b=c".
    EXPECT_FALSE(ConditionEvaluator::evaluate("a == a = a").value);
    EXPECT_TRUE(ConditionEvaluator::evaluate("a=a == a=a").value);
    // A symbol operator is tried before the word operators.
    EXPECT_FALSE(ConditionEvaluator::evaluate("x=y contains x").value);
}

TEST(ConditionEvaluator, WordOperators) {
    EXPECT_TRUE(ConditionEvaluator::evaluate("Hello World CONTAINS world").value);
    EXPECT_TRUE(ConditionEvaluator::evaluate("Hello contains ELL").value);
    EXPECT_FALSE(ConditionEvaluator::evaluate("Hello contains xyz").value);
    EXPECT_TRUE(ConditionEvaluator::evaluate("team in [pro, \"team\"]").value);
    EXPECT_TRUE(ConditionEvaluator::evaluate("pro IN [ 'pro' ]").value);
    EXPECT_FALSE(ConditionEvaluator::evaluate("free in [pro, team]").value);
    EXPECT_FALSE(ConditionEvaluator::evaluate("Pro in [pro]").value);
}

TEST(ConditionEvaluator, AlternativesAndRequirements) {
    EXPECT_TRUE(ConditionEvaluator::evaluate("a == b || c == c").value);
    EXPECT_TRUE(ConditionEvaluator::evaluate("a == b OR yes").value);
    EXPECT_FALSE(ConditionEvaluator::evaluate("a == a && b == c").value);
    EXPECT_TRUE(ConditionEvaluator::evaluate("a == a AND 1 || no").value);
    // AND binds tighter than OR.
    EXPECT_TRUE(ConditionEvaluator::evaluate("no && no || yes").value);
    EXPECT_FALSE(ConditionEvaluator::evaluate("yes && no || no").value);
}

TEST(ConditionEvaluator, TruthOfLoneValues) {
    for (const char* value : {"true", "1", "YES", " on ", "anything"}) {
        EXPECT_TRUE(ConditionEvaluator::evaluate(value).value) << value;
    }
    for (const char* value : {"false", "0", "No", "off", "", "  "}) {
        EXPECT_FALSE(ConditionEvaluator::evaluate(value).value) << value;
    }
}

TEST(ConditionEvaluator, BadPatternIsFalseWithAnError) {
    auto outcome = ConditionEvaluator::evaluate("abc =~ (unclosed");
    EXPECT_FALSE(outcome.value);
    ASSERT_TRUE(outcome.error);
    EXPECT_EQ(*outcome.error, "Invalid pattern in condition: (unclosed.");

    // Catastrophic backtracking gives up instead of hanging the expansion.
    auto slow = ConditionEvaluator::evaluate(std::string(40, 'a') + "b =~ ^(a+)+$");
    EXPECT_FALSE(slow.value);
}

}  // namespace
}  // namespace wordloom
