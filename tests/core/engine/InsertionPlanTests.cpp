#include <gtest/gtest.h>

#include "core/expansion/InsertionPlan.h"

namespace wordloom {
namespace {

std::vector<std::string> texts(const InsertionPlan& plan) {
    std::vector<std::string> result;
    for (const auto& segment : plan.segments) {
        result.push_back(segment.text);
    }
    return result;
}

TEST(InsertionPlanTests, CutsAtKeystrokePositionsCountedInCharacters) {
    const auto plan = InsertionPlan::cut("né\tx🇸🇪y", {{2, virtualKey::tab}, {5, virtualKey::up}});
    EXPECT_EQ(texts(plan), (std::vector<std::string>{"né", "\tx🇸🇪", "y"}));
    EXPECT_EQ(plan.segments[0].keysAfter, std::vector<VirtualKeyCode>{virtualKey::tab});
    EXPECT_EQ(plan.segments[1].keysAfter, std::vector<VirtualKeyCode>{virtualKey::up});
    EXPECT_TRUE(plan.segments[2].keysAfter.empty());
}

TEST(InsertionPlanTests, KeysAtTheEdgesAndSharedPositionsKeepTheirOrder) {
    const auto plan = InsertionPlan::cut(
        "ab", {{0, virtualKey::escape}, {9, virtualKey::returnKey}, {2, virtualKey::tab}});
    EXPECT_EQ(texts(plan), (std::vector<std::string>{"", "ab"}));
    EXPECT_EQ(plan.segments[0].keysAfter, std::vector<VirtualKeyCode>{virtualKey::escape});
    EXPECT_EQ(plan.segments[1].keysAfter,
              (std::vector<VirtualKeyCode>{virtualKey::returnKey, virtualKey::tab}));
    EXPECT_EQ(texts(InsertionPlan::cut("", {})), std::vector<std::string>{""});
}

TEST(InsertionPlanTests, TrailingTextGoesAfterTheLastKey) {
    auto plain = InsertionPlan::cut("sig", {});
    plain.appendTrailingText(" ");
    EXPECT_EQ(texts(plain), std::vector<std::string>{"sig "});

    auto keyed = InsertionPlan::cut("sig", {{3, virtualKey::tab}});
    keyed.appendTrailingText(".");
    EXPECT_EQ(texts(keyed), (std::vector<std::string>{"sig", "."}));
}

}  // namespace
}  // namespace wordloom
