#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

#include "core/base/ManualExecutor.h"
#include "core/base/Text.h"
#include "core/expansion/AbbreviationDetector.h"
#include "core/expansion/DetectionTestSupport.h"
#include "core/expansion/ExpansionEngine.h"
#include "platform/fake/FakeAccessibilityService.h"
#include "platform/fake/FakeDesktopServices.h"
#include "platform/fake/FakeKeyInjector.h"
#include "platform/fake/FakePasteboard.h"
#include "platform/fake/InlineMainQueueHop.h"
#include "platform/fake/RecordingSleeper.h"

namespace wordloom {
namespace {

using std::chrono::seconds;
using test::makeSnippet;

/// The pipeline on fakes, with a keyboard that the inserter can hold: what the user types
/// while it is held reaches the field and the monitor only when it is let go.
struct TypingRig {
    TypingRig() {
        setenv("TZ", "UTC", 1);
        tzset();
        pasteboard.copyFromUser(PasteboardSelection::clipboard, {{"text/plain", "user"}});
        keys.onReleasedKey = [this](const std::string& text) { keyboard.type(text); };
        engine.start();
    }

    void add(Snippet snippet) {
        library.snippets.push_back(std::move(snippet));
        test::rebuildNow(cache, executor, library.snippets);
    }

    void typeOne(const std::string& character) {
        const bool held = keys.isHolding();
        keys.typeByUser(character);
        if (!held) {
            keyboard.type(character);
        }
    }

    void type(const std::string& typed) {
        for (const auto character : text::splitCharacters(typed)) {
            typeOne(std::string(character));
            executor.runUntilIdle();
        }
    }

    /// Types `typed` during the next insertion, one character per injected event from its
    /// first Backspace on.
    void typeDuringTheNextInsertion(const std::string& typed) {
        auto next = std::make_shared<std::size_t>(0);
        keys.onEvent = [this, typed, next](const std::string& event) {
            if ((*next > 0 || event == "down " + std::to_string(virtualKey::backspace)) &&
                *next < typed.size()) {
                typeOne(typed.substr((*next)++, 1));
            }
        };
    }

    void backspace() {
        field.backspace();
        keyboard.press(SpecialKey::backspace);
        executor.runUntilIdle();
    }

    ManualExecutor executor;
    test::GroupTable groups;
    test::SettingsValue settings;
    FakeAccessibilityService accessibility;
    SnippetCache cache{executor};
    AbbreviationDetector detector{groups, settings, accessibility, cache, executor};
    FakeTextField field;
    FakePasteboard pasteboard;
    FakeKeyInjector keys{field, pasteboard};
    InlineMainQueueHop mainQueue;
    RecordingSleeper sleeper;
    TextInserter inserter{pasteboard, keys, accessibility, mainQueue, sleeper};
    FakeExpansionLibrary library;
    MacroEvaluator evaluator;
    FakeKeyboardMonitor keyboard;
    FakeFrontmostApplication frontmost;
    FakeMouseClickMonitor clicks;
    FakeSoundPlayer sound;
    FakeNotificationPresenter notifications;
    FakeFillInFormPresenter form;
    ExpansionEngine engine{{executor, accessibility, keyboard, detector, inserter, library,
                            settings, evaluator, pasteboard, frontmost, clicks, sound,
                            notifications, form}};
};

TEST(TypingThroughTests, TypingOnLandsAfterTheExpansion) {
    TypingRig rig;
    rig.add(makeSnippet(";br", TriggerMode::immediate, "Best regards,"));
    rig.typeDuringTheNextInsertion(" and more");
    rig.type("Hi ;br");
    EXPECT_EQ(rig.field.text(), "Hi Best regards, and more");
    EXPECT_FALSE(rig.keys.isHolding());
}

TEST(TypingThroughTests, TwoAbbreviationsTypedBackToBackBothExpand) {
    TypingRig rig;
    rig.add(makeSnippet(";br", TriggerMode::immediate, "Best regards,"));
    rig.add(makeSnippet(";an", TriggerMode::immediate, "Anna"));
    rig.typeDuringTheNextInsertion(";an and on");
    rig.type(";br");
    EXPECT_EQ(rig.field.text(), "Best regards,Anna and on");
    EXPECT_EQ(rig.engine.expansionCount(), 2);
    EXPECT_FALSE(rig.keys.isHolding());
}

TEST(TypingThroughTests, EveryAbbreviationOfAChainTypedDuringAnExpansionExpands) {
    TypingRig rig;
    rig.add(makeSnippet(";br", TriggerMode::immediate, "Best regards,"));
    rig.add(makeSnippet(";an", TriggerMode::immediate, "Anna"));
    rig.typeDuringTheNextInsertion(";br;an!");
    rig.type(";an");
    EXPECT_EQ(rig.field.text(), "AnnaBest regards,Anna!");
    EXPECT_EQ(rig.engine.expansionCount(), 3);
}

TEST(TypingThroughTests, KeysThatReachedTheDocumentBeforeTheHoldAreTypedAgainAfter) {
    const auto typedBeforeTheHold = [](auto&& slip) {
        TypingRig rig;
        rig.add(makeSnippet(";br", TriggerMode::immediate, "Best regards,"));
        // The keyboard could not be held: a key typed at once lands before our Backspaces.
        rig.keys.setHoldRefused(true);
        rig.keys.onEvent = [&rig, slip, done = false](const std::string& event) mutable {
            if (event == "begin" && !done) {
                done = true;
                slip(rig);
            }
        };
        rig.type("Hi ;br");
        return rig.field.text();
    };
    EXPECT_EQ(typedBeforeTheHold([](TypingRig& rig) { rig.typeOne(" "); }), "Hi Best regards, ");
    // A Backspace among them: the abbreviation may be damaged, so nothing is inserted.
    EXPECT_EQ(typedBeforeTheHold([](TypingRig& rig) {
                  rig.field.backspace();
                  rig.keyboard.press(SpecialKey::backspace);
              }),
              "Hi ;b");
}

TEST(TypingThroughTests, FillInFormGetsTheKeyboardBack) {
    TypingRig rig;
    rig.add(makeSnippet(";hi", TriggerMode::immediate, "Hi {{input:name}}!"));
    rig.form.cancel = true;
    rig.type(";hi");
    EXPECT_FALSE(rig.keys.isHolding());
    EXPECT_EQ(rig.field.text(), ";hi");
}

TEST(ExpansionUndoTests, BackspaceRightAfterTakesTheExpansionBackWithoutExpandingAgain) {
    {
        TypingRig rig;
        rig.add(makeSnippet(";br", TriggerMode::immediate, "Best regards,"));
        rig.type("Hi ;br");
        ASSERT_TRUE(rig.engine.canUndoExpansion());
        rig.backspace();
        EXPECT_EQ(rig.field.text(), "Hi ;br");
        EXPECT_EQ(rig.engine.expansionCount(), 1);  // taking it back is not another use
        EXPECT_EQ(rig.pasteboard.plainText(), "user");
        rig.type("x");
        EXPECT_EQ(rig.field.text(), "Hi ;brx");
        rig.backspace();  // the next Backspace is an ordinary one
        EXPECT_EQ(rig.field.text(), "Hi ;br");
    }
    {
        TypingRig rig;
        rig.add(makeSnippet("addr", TriggerMode::delimiter, "1 Main St"));
        rig.type("at addr ");
        EXPECT_EQ(rig.field.text(), "at 1 Main St ");
        rig.backspace();
        EXPECT_EQ(rig.field.text(), "at addr ");
        rig.type("x ");
        EXPECT_EQ(rig.field.text(), "at addr x ");
    }
}

TEST(ExpansionUndoTests, AnyOtherKeyAClickAFocusChangeOrTimeEndsTheChance) {
    const auto expandThen = [](auto&& interrupt) {
        TypingRig rig;
        rig.add(makeSnippet(";br", TriggerMode::immediate, "Best"));
        rig.type(";br");
        interrupt(rig);
        rig.backspace();
        return rig.field.text();
    };
    EXPECT_EQ(expandThen([](TypingRig& rig) { rig.type("!"); }), "Best");
    EXPECT_EQ(expandThen([](TypingRig& rig) { rig.clicks.click(); }), "Bes");
    EXPECT_EQ(expandThen([](TypingRig& rig) { rig.frontmost.activate("other"); }), "Bes");
    EXPECT_EQ(expandThen([](TypingRig& rig) { rig.executor.advance(seconds(4)); }), "Bes");
    EXPECT_EQ(expandThen([](TypingRig& rig) { rig.executor.advance(seconds(2)); }), ";br");
    EXPECT_EQ(expandThen([](TypingRig& rig) { rig.keyboard.pressModified("c"); }), "Bes");
}

TEST(ExpansionUndoTests, NeverForExpansionsThatPressKeysMoveTheCaretOrWhenTurnedOff) {
    const auto undoAfter = [](const std::string& content, bool enabled) {
        TypingRig rig;
        rig.settings.value.undoExpansionWithBackspace = enabled;
        rig.add(makeSnippet(";x", TriggerMode::immediate, content));
        rig.type(";x");
        const bool offered = rig.engine.canUndoExpansion();
        rig.backspace();
        return std::make_pair(offered, rig.field.text());
    };
    EXPECT_EQ(undoAfter("ab{{key:tab}}", true), std::make_pair(false, std::string("ab")));
    EXPECT_EQ(undoAfter("(({{cursor}}))", true), std::make_pair(false, std::string("())")));
    EXPECT_EQ(undoAfter("abc", false), std::make_pair(false, std::string("ab")));
    EXPECT_EQ(undoAfter("abc{{cursor}}", true), std::make_pair(true, std::string(";x")));
}

TEST(ExpansionUndoTests, TypingDuringTheExpansionMeansBackspaceIsAnOrdinaryOne) {
    TypingRig rig;
    rig.add(makeSnippet(";br", TriggerMode::immediate, "Best"));
    rig.typeDuringTheNextInsertion("s");
    rig.type(";br");
    EXPECT_EQ(rig.field.text(), "Bests");
    EXPECT_FALSE(rig.engine.canUndoExpansion());
    rig.keys.onEvent = nullptr;
    rig.backspace();
    EXPECT_EQ(rig.field.text(), "Best");
}

}  // namespace
}  // namespace wordloom
