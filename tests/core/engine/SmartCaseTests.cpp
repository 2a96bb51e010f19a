#include <gtest/gtest.h>

#include "core/expansion/SmartCase.h"

namespace wordloom {
namespace {

TEST(SmartCaseTests, PatternOfTheTypedAbbreviation) {
    EXPECT_EQ(casePattern(";SIG", ";sig"), CasePattern::allCaps);
    EXPECT_EQ(casePattern(";Sig", ";sig"), CasePattern::capitalized);
    EXPECT_EQ(casePattern("A", "a"), CasePattern::capitalized);  // one upper-case letter
    EXPECT_EQ(casePattern(";sig", ";sig"), CasePattern::none);
    EXPECT_EQ(casePattern(";sIG", ";sig"), CasePattern::none);
    EXPECT_EQ(casePattern(";SIG", ";Sig"), CasePattern::none);  // stored has a capital
    EXPECT_EQ(casePattern(";;", ";;"), CasePattern::none);
    EXPECT_EQ(casePattern("123", "abc"), CasePattern::none);  // no letters typed
    EXPECT_EQ(casePattern("ÉTÉ", "été"), CasePattern::allCaps);
}

TEST(SmartCaseTests, OnlyLiteralTextChangesAndOnlyOneCapital) {
    EXPECT_EQ(
        applyCasePattern("{{date:yyyy}} hello {{input:name}} world", CasePattern::capitalized),
        "{{date:yyyy}} Hello {{input:name}} world");
    EXPECT_EQ(applyCasePattern("hi {{input:name}} there", CasePattern::allCaps),
              "HI {{input:name}} THERE");
    EXPECT_EQ(applyCasePattern("  — éclair", CasePattern::capitalized), "  — Éclair");
    EXPECT_EQ(applyCasePattern("straße", CasePattern::allCaps), "STRASSE");
    EXPECT_EQ(applyCasePattern("as is", CasePattern::none), "as is");
}

}  // namespace
}  // namespace wordloom
