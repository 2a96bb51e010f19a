#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "InserterTestRig.h"
#include "core/expansion/InsertionPlan.h"

namespace wordloom {
namespace {

using std::chrono::milliseconds;
using test::InserterRig;

InsertionPlan plan(std::string_view text, std::size_t erase,
                   std::vector<PlannedKeystroke> keys = {},
                   std::optional<std::size_t> caret = std::nullopt) {
    auto result = InsertionPlan::cut(text, keys);
    result.charactersToDelete = erase;
    result.caretPosition = caret;
    return result;
}

TEST(TextInserterTests, ReplacesTheAbbreviationAndRestoresEveryClipboardFormat) {
    InserterRig rig("Hello ;sig");
    ASSERT_TRUE(rig.inserter.insert(plan("Best regards,\nAnna", 4)));

    EXPECT_EQ(rig.field.text(), "Hello Best regards,\nAnna");
    EXPECT_EQ(rig.keys.pressCount(virtualKey::backspace), 4u);
    EXPECT_EQ(rig.pasteboard.contents(PasteboardSelection::clipboard),
              InserterRig::userClipboard());
    EXPECT_EQ(rig.pasteboard.snapshotCount(), 1u);
    // Once before the user's held keys go, once before the restore.
    EXPECT_EQ(rig.pasteboard.waitCount(), 2u);
    EXPECT_EQ(rig.inserter.inFlightDepth(), 0);
}

TEST(TextInserterTests, KeepsTheDocumentedWaitsOfOneSingleSegmentExpansion) {
    InserterRig rig("x");
    ASSERT_TRUE(rig.inserter.insert(plan("y", 1)));
    const std::vector<Duration> expected = {milliseconds(5),  milliseconds(1),   // Backspace
                                            milliseconds(5),                     // before segments
                                            milliseconds(5),  milliseconds(10),  // paste lead, hold
                                            milliseconds(30), milliseconds(250)};
    EXPECT_EQ(rig.sleeper.sleeps, expected);
    const std::vector<std::string> events = {"begin",      "hold",     "down 51", "up 51",
                                             "paste down", "paste up", "release", "end"};
    EXPECT_EQ(rig.keys.events(), events);
}

TEST(TextInserterTests, OnlyEmptySegmentsSendBackspacesAndLeaveThePasteboardAlone) {
    InserterRig rig("ab;k");
    ASSERT_TRUE(rig.inserter.insert(plan("", 2, {{0, virtualKey::tab}})));
    EXPECT_EQ(rig.field.text(), "ab\t");
    EXPECT_EQ(rig.pasteboard.snapshotCount(), 0u);
    EXPECT_EQ(rig.pasteboard.writeCount(), 0u);
    EXPECT_EQ(rig.keys.pressCount(virtualKey::backspace), 2u);
}

TEST(TextInserterTests, SecondSegmentIsNotMistakenForTheUsersClipboard) {
    InserterRig rig(";addr");
    ASSERT_TRUE(rig.inserter.insert(plan("Name:Street", 5, {{5, virtualKey::tab}})));
    EXPECT_EQ(rig.field.text(), "Name:\tStreet");
    EXPECT_EQ(rig.pasteboard.snapshotCount(), 1u);
    EXPECT_EQ(rig.pasteboard.contents(PasteboardSelection::clipboard),
              InserterRig::userClipboard());
    // A middle segment is followed by the shorter wait, and the target must have read it before
    // the next segment replaces it.
    EXPECT_EQ(std::count(rig.sleeper.sleeps.begin(), rig.sleeper.sleeps.end(), milliseconds(100)),
              1);
    EXPECT_EQ(rig.pasteboard.waitCount(), 3u);
}

TEST(TextInserterTests, ACopyMadeDuringTheFinalWaitSurvives) {
    InserterRig rig(";x");
    rig.sleeper.onSleep = [&](Duration duration) {
        if (duration == milliseconds(250)) {
            rig.pasteboard.copyFromUser(PasteboardSelection::clipboard, {{"text/plain", "new"}});
        }
    };
    ASSERT_TRUE(rig.inserter.insert(plan("expanded", 2)));
    EXPECT_EQ(rig.pasteboard.textOf(PasteboardSelection::clipboard), "new");
}

TEST(TextInserterTests, AnUnreadableClipboardIsLeftEmptyRatherThanHoldingTheExpansion) {
    InserterRig rig(";x");
    rig.pasteboard.setOwnerUnresponsive(true);
    ASSERT_TRUE(rig.inserter.insert(plan("secret expansion", 2)));
    EXPECT_EQ(rig.field.text(), "secret expansion");
    EXPECT_TRUE(rig.pasteboard.contents(PasteboardSelection::clipboard).empty());
}

TEST(TextInserterTests, BusyMainQueueBeforeTheFirstWriteChangesNothing) {
    InserterRig rig("Hi ;sig");
    rig.mainQueue.busy = true;
    EXPECT_FALSE(rig.inserter.insert(plan("Best regards", 4)));
    EXPECT_EQ(rig.field.text(), "Hi ;sig");
    EXPECT_EQ(rig.keys.pressCount(virtualKey::backspace), 0u);
    EXPECT_EQ(rig.pasteboard.contents(PasteboardSelection::clipboard),
              InserterRig::userClipboard());
    EXPECT_EQ(rig.inserter.inFlightDepth(), 0);
}

TEST(TextInserterTests, BusyMainQueueLaterStopsTheSequenceAndReportsFailure) {
    InserterRig rig(";a");
    // The first segment's write and the check before its paste succeed, nothing after them.
    rig.mainQueue.failAfter = 2;
    EXPECT_FALSE(rig.inserter.insert(plan("onetwo", 2, {{3, virtualKey::tab}})));
    EXPECT_EQ(rig.field.text(), "one\t");
}

TEST(TextInserterTests, AFailedWriteNeverPastesWhatTheClipboardHeld) {
    InserterRig rig("Hi ;sig");
    rig.pasteboard.setWritesFail(true);
    EXPECT_FALSE(rig.inserter.insert(plan("Best regards", 4)));
    // Nothing erased, and above all the user's clipboard was not pasted in its place.
    EXPECT_EQ(rig.field.text(), "Hi ;sig");
    EXPECT_EQ(std::count(rig.keys.events().begin(), rig.keys.events().end(), "paste down"), 0);
    EXPECT_EQ(rig.inserter.inFlightDepth(), 0);
}

TEST(TextInserterTests, ACopyBetweenOurWriteAndThePasteIsNeitherPastedNorOverwritten) {
    InserterRig rig("Hi ");
    bool copied = false;
    rig.sleeper.onSleep = [&](Duration) {
        if (!copied) {  // the first wait comes after the write, before the paste
            copied = true;
            rig.pasteboard.copyFromUser(PasteboardSelection::clipboard,
                                        {{"text/plain", "copied meanwhile"}});
        }
    };
    EXPECT_FALSE(rig.inserter.insert(plan("Best regards", 0)));
    EXPECT_EQ(rig.field.text(), "Hi ");
    EXPECT_EQ(rig.pasteboard.textOf(PasteboardSelection::clipboard), "copied meanwhile");
}

TEST(TextInserterTests, QuittingStopsBetweenSegmentsAndPutsTheClipboardBack) {
    InserterRig rig(";a");
    rig.sleeper.onSleep = [&](Duration duration) {
        if (duration == milliseconds(100)) {  // after the first of two segments
            rig.inserter.stopSoon();
        }
    };
    EXPECT_FALSE(rig.inserter.insert(plan("onetwo", 2, {{3, virtualKey::tab}})));
    EXPECT_EQ(rig.field.text(), "one\t");
    EXPECT_EQ(rig.pasteboard.contents(PasteboardSelection::clipboard),
              InserterRig::userClipboard());
    // Once quitting, nothing more is inserted.
    EXPECT_FALSE(rig.inserter.insert(plan("more", 0)));
    EXPECT_EQ(rig.field.text(), "one\t");
}

TEST(TextInserterTests, CaretCloseToTheEndIsPlacedWithLeftPresses) {
    InserterRig rig(";c");
    ASSERT_TRUE(rig.inserter.insert(plan("Dear ,\nBest", 2, {}, 5)));
    EXPECT_EQ(rig.field.caret(), 5u);
    EXPECT_EQ(rig.keys.pressCount(virtualKey::left), 6u);
    EXPECT_EQ(rig.accessibility.caretQueries, 0);
}

TEST(TextInserterTests, FarCaretIsPlacedThroughAccessibilityWhenTheFieldAllowsIt) {
    const std::string body = "é" + std::string(599, 'x') + "🇸🇪";  // flags are two code points
    {
        InserterRig rig(";far");
        ASSERT_TRUE(rig.inserter.insert(plan(body, 4, {}, 1)));
        EXPECT_EQ(rig.accessibility.caretSets, 1);
        EXPECT_EQ(rig.keys.pressCount(virtualKey::left), 0u);
        EXPECT_EQ(rig.field.caret(), 1u);
    }
    {
        InserterRig rig(";far");
        rig.accessibility.caretSupported = false;
        ASSERT_TRUE(rig.inserter.insert(plan(body, 4, {}, 1)));
        EXPECT_EQ(rig.keys.pressCount(virtualKey::left), 600u);
        EXPECT_EQ(rig.field.caret(), 1u);
    }
}

TEST(TextInserterTests, CaretIsPlacedBeforeTheKeysThatFollowItsSegment) {
    InserterRig rig(";k");
    ASSERT_TRUE(rig.inserter.insert(plan("abcd", 2, {{4, virtualKey::returnKey}}, 2)));
    EXPECT_EQ(rig.field.text(), "ab\ncd");
}

TEST(TextInserterTests, TerminalsGetThePrimarySelectionAndBothAreRestored) {
    InserterRig rig("$ ;d");
    rig.pasteboard.copyFromUser(PasteboardSelection::primary, {{"text/plain", "highlighted"}});
    rig.keys.setPasteChord(PasteChord::shiftInsert);
    ASSERT_TRUE(rig.inserter.insert(plan("docker ps", 2)));
    EXPECT_EQ(rig.field.text(), "$ docker ps");
    EXPECT_EQ(rig.pasteboard.textOf(PasteboardSelection::primary), "highlighted");
    EXPECT_EQ(rig.pasteboard.contents(PasteboardSelection::clipboard),
              InserterRig::userClipboard());
}

TEST(TextInserterTests, ChosenPasteChordWinsOverTheAutomaticOne) {
    InserterRig rig("$ ;d");
    rig.pasteboard.copyFromUser(PasteboardSelection::primary, {{"text/plain", "highlighted"}});
    rig.keys.setPasteChord(PasteChord::shiftInsert);
    auto insertion = plan("docker ps", 2);
    insertion.pasteChord = PasteChord::controlShiftV;
    const auto primaryWrites = rig.pasteboard.writeCount();
    ASSERT_TRUE(rig.inserter.insert(insertion));
    EXPECT_EQ(rig.field.text(), "$ docker ps");
    // Only the clipboard was used: written once, restored once.
    EXPECT_EQ(rig.pasteboard.writeCount(), primaryWrites + 2);
    EXPECT_EQ(rig.pasteboard.textOf(PasteboardSelection::primary), "highlighted");
}

TEST(TextInserterTests, FailedPasteFailsTheSequence) {
    InserterRig rig(";x");
    rig.keys.setFailing(true);
    EXPECT_FALSE(rig.inserter.insert(plan("text", 2)));
    EXPECT_EQ(rig.pasteboard.contents(PasteboardSelection::clipboard),
              InserterRig::userClipboard());
}

TEST(TextInserterTests, NestedInsertionFromTheSameThreadDoesNotDeadlock) {
    InserterRig rig(";o");
    std::int64_t depthInside = 0;
    bool nested = false;
    rig.sleeper.onSleep = [&](Duration duration) {
        if (duration == milliseconds(250) && !nested) {
            nested = true;
            depthInside = rig.inserter.inFlightDepth();
            EXPECT_TRUE(rig.inserter.insert(plan("!", 0)));
        }
    };
    ASSERT_TRUE(rig.inserter.insert(plan("outer", 2)));
    EXPECT_EQ(depthInside, 1);
    EXPECT_EQ(rig.field.text(), "outer!");
    EXPECT_EQ(rig.inserter.inFlightDepth(), 0);
}

TEST(TextInserterTests, RichFormatsAreWrittenTogether) {
    InserterRig rig(";r");
    InsertionPlan rich;
    rich.charactersToDelete = 2;
    rich.segments.push_back({"bold",
                             {},
                             {{"text/rtf", "{\\rtf1 \\b bold}"},
                              {"text/html", "<b>bold</b>"},
                              {"text/plain", "bold"}}});
    std::vector<PasteboardItem> seen;
    rig.sleeper.onSleep = [&](Duration duration) {
        if (duration == milliseconds(250)) {
            seen = rig.pasteboard.contents(PasteboardSelection::clipboard);
        }
    };
    ASSERT_TRUE(rig.inserter.insert(rich));
    EXPECT_EQ(seen, rich.segments[0].formats);
    EXPECT_EQ(rig.field.text(), "bold");
}

}  // namespace
}  // namespace wordloom
