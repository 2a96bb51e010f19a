#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "InserterTestRig.h"
#include "core/expansion/InsertionPlan.h"

namespace wordloom {
namespace {

using test::InserterRig;

InsertionPlan plan(std::string_view text, std::size_t erase,
                   std::vector<PlannedKeystroke> keys = {},
                   std::optional<std::size_t> caret = std::nullopt) {
    auto result = InsertionPlan::cut(text, keys);
    result.charactersToDelete = erase;
    result.caretPosition = caret;
    return result;
}

/// Types `typed` one character per injected event from the first Backspace on, as a fast
/// typist going on through the expansion would.
void typeThroughTheInsertion(InserterRig& rig, const std::string& typed) {
    auto next = std::make_shared<std::size_t>(0);
    rig.keys.onEvent = [&rig, typed, next](const std::string& event) {
        const bool started = *next > 0 || event == "down " + std::to_string(virtualKey::backspace);
        if (started && *next < typed.size()) {
            rig.keys.typeByUser(typed.substr((*next)++, 1));
        }
    };
}

std::ptrdiff_t positionOf(const std::vector<std::string>& events, const std::string& event) {
    return std::find(events.begin(), events.end(), event) - events.begin();
}

TEST(TypingHoldTests, KeysTypedDuringAnInsertionLandAfterItInOrder) {
    InserterRig rig("Hi ;br");
    typeThroughTheInsertion(rig, " and more");
    ASSERT_TRUE(rig.inserter.insert(plan("Best regards,", 3)));

    EXPECT_EQ(rig.field.text(), "Hi Best regards, and more");
    const auto& events = rig.keys.events();
    // Held from before the first Backspace until the paste was read.
    EXPECT_LT(positionOf(events, "hold"), positionOf(events, "down 51"));
    EXPECT_GT(positionOf(events, "release"), positionOf(events, "paste up"));
    EXPECT_EQ(rig.pasteboard.contents(PasteboardSelection::clipboard),
              InserterRig::userClipboard());
}

TEST(TypingHoldTests, WithoutAHoldOurBackspacesEraseWhatTheUserTypedOn) {
    InserterRig rig("Hi ;br");
    rig.keys.setHoldRefused(true);
    typeThroughTheInsertion(rig, "xy");
    ASSERT_TRUE(rig.inserter.insert(plan("Best", 3)));

    // The typed keys landed between our Backspaces, which erased them and left a piece of the
    // abbreviation: the fault holding prevents. The insertion itself still goes through.
    EXPECT_EQ(rig.field.text(), "Hi ;bBest");
    EXPECT_EQ(positionOf(rig.keys.events(), "hold"),
              static_cast<std::ptrdiff_t>(rig.keys.events().size()));
}

TEST(TypingHoldTests, HoldLastsThroughKeysAndCaretPlacementAfterThePaste) {
    {
        InserterRig rig(";t");
        typeThroughTheInsertion(rig, "abcdefgh");
        ASSERT_TRUE(rig.inserter.insert(plan("Name:", 2, {{5, virtualKey::tab}})));
        EXPECT_EQ(rig.field.text(), "Name:\tabcdefgh");
        const auto& events = rig.keys.events();
        EXPECT_GT(positionOf(events, "release"),
                  positionOf(events, "up " + std::to_string(virtualKey::tab)));
    }
    {
        InserterRig rig(";c");
        typeThroughTheInsertion(rig, "XY");
        ASSERT_TRUE(rig.inserter.insert(plan("(  )", 2, {}, 2)));
        // The caret was placed between the brackets before the held keys went in.
        EXPECT_EQ(rig.field.text(), "( XY )");
    }
}

TEST(TypingHoldTests, AnAbandonedInsertionLetsAnEarlierHoldGo) {
    InserterRig rig(";x");
    ASSERT_TRUE(rig.inserter.holdTypedKeys());
    rig.keys.typeByUser("a");
    rig.mainQueue.busy = true;
    EXPECT_FALSE(rig.inserter.insert(plan("expanded", 2)));
    EXPECT_FALSE(rig.keys.isHolding());
    EXPECT_EQ(rig.field.text(), ";xa");
}

}  // namespace
}  // namespace wordloom
