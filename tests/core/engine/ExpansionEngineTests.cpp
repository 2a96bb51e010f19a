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

using std::chrono::hours;
using std::chrono::milliseconds;
using test::makeSnippet;

/// The whole pipeline on fakes: typing reaches both the fake application's text field and the
/// keyboard monitor, as it would on a desktop.
struct EngineRig {
    EngineRig() {
        setenv("TZ", "UTC", 1);
        tzset();
        pasteboard.copyFromUser(PasteboardSelection::clipboard, {{"text/plain", "user"}});
        engine.start();
    }

    Snippet& add(Snippet snippet) {
        library.snippets.push_back(std::move(snippet));
        test::rebuildNow(cache, executor, library.snippets);
        return library.snippets.back();
    }

    void type(const std::string& typed) {
        for (const auto character : text::splitCharacters(typed)) {
            field.type(character);
            keyboard.type(std::string(character));
            executor.runUntilIdle();
        }
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

TEST(ExpansionEngineTests, ImmediateSnippetReplacesTheAbbreviationAndCountsTheUse) {
    EngineRig rig;
    const auto& snippet = rig.add(makeSnippet(";sig", TriggerMode::immediate, "Best regards"));
    rig.type("Hi ;sig");

    EXPECT_EQ(rig.field.text(), "Hi Best regards");
    EXPECT_EQ(rig.library.uses[snippet.id], 1);
    EXPECT_EQ(rig.engine.expansionCount(), 1);
    EXPECT_EQ(rig.engine.dailyExpansionCount(), 1);
    EXPECT_EQ(rig.engine.dailyCountDate(), "2026-01-15");
    ASSERT_TRUE(rig.engine.lastExpandedSnippet());
    EXPECT_EQ(rig.engine.lastExpandedSnippet()->id, snippet.id);
    EXPECT_EQ(rig.pasteboard.plainText(), "user");
    EXPECT_FALSE(rig.engine.hasActiveExpansion());
}

TEST(ExpansionEngineTests, DelimiterSnippetKeepsTheDelimiterAfterTheExpansion) {
    EngineRig rig;
    rig.add(makeSnippet("addr", TriggerMode::delimiter, "1 Main St"));
    rig.type("at addr, then");
    EXPECT_EQ(rig.field.text(), "at 1 Main St, then");
}

TEST(ExpansionEngineTests, SmartCaseFollowsTheTypedAbbreviationOnlyWhenAllowed) {
    {
        EngineRig rig;
        rig.settings.value.smartCaseEnabled = true;
        auto snippet = makeSnippet(";sig", TriggerMode::immediate, "best regards");
        snippet.caseSensitivity = CaseSensitivity::insensitive;
        rig.add(snippet);
        rig.type(";SIG ");
        // Matching is case-insensitive, but only `auto` adapts the case.
        EXPECT_EQ(rig.field.text(), "best regards ");
    }
    {
        EngineRig rig;
        rig.settings.value.smartCaseEnabled = true;
        rig.settings.value.defaultCaseSensitivity = CaseSensitivity::insensitive;
        auto snippet = makeSnippet(";sig", TriggerMode::immediate, "best {{date:yyyy}} regards");
        snippet.caseSensitivity = CaseSensitivity::autoDetect;
        rig.add(snippet);
        rig.type(";SIG|;Sig");
        EXPECT_EQ(rig.field.text(), "BEST 2026 REGARDS|Best 2026 regards");
    }
    {
        EngineRig rig;  // smart case off
        rig.settings.value.defaultCaseSensitivity = CaseSensitivity::insensitive;
        rig.add(makeSnippet(";sig", TriggerMode::immediate, "best regards"));
        rig.type(";SIG");
        EXPECT_EQ(rig.field.text(), "best regards");
    }
}

TEST(ExpansionEngineTests, HeldMatchIsCancelledByAClickAndReleasedByAnotherKey) {
    EngineRig rig;
    rig.settings.value.delayAmbiguousExpansions = true;
    rig.add(makeSnippet(";em", TriggerMode::immediate, "me@example.com"));
    rig.add(makeSnippet(";email", TriggerMode::immediate, "Email me"));

    rig.type(";em");
    EXPECT_TRUE(rig.clicks.isActive());
    rig.clicks.click();
    rig.executor.advance(milliseconds(300));
    EXPECT_EQ(rig.field.text(), ";em");
    EXPECT_FALSE(rig.clicks.isActive());

    rig.type(" ;em");
    rig.type("x");
    EXPECT_EQ(rig.field.text(), ";em me@example.comx");

    rig.type(" ;em");
    rig.executor.advance(milliseconds(250));
    EXPECT_EQ(rig.field.text(), ";em me@example.comx me@example.com");
}

TEST(ExpansionEngineTests, FillInValuesAreAskedForAndACancelledFormLeavesTheTypedText) {
    {
        EngineRig rig;
        rig.add(makeSnippet(";hi", TriggerMode::immediate, "Hi {{input:name}}!"));
        rig.form.answer["name"] = "Ann";
        rig.type(";hi");
        EXPECT_EQ(rig.field.text(), "Hi Ann!");
        EXPECT_EQ(rig.form.presented.size(), 1u);
    }
    {
        EngineRig rig;
        const auto& snippet =
            rig.add(makeSnippet(";hi", TriggerMode::immediate, "Hi {{input:name}}!"));
        rig.form.cancel = true;
        rig.type(";hi");
        EXPECT_EQ(rig.field.text(), ";hi");
        EXPECT_EQ(rig.library.uses[snippet.id], 0);
        EXPECT_FALSE(rig.engine.hasActiveExpansion());
        rig.type(" ok");  // typing goes on being watched
        EXPECT_EQ(rig.field.text(), ";hi ok");
    }
}

TEST(ExpansionEngineTests, ArgumentsOfARequestFillItsFieldsAndOnlyTheRestAreAskedFor) {
    EngineRig rig;
    const auto snippet =
        makeSnippet(";hi", TriggerMode::immediate, "Hi {{input:name}} of {{input:city}}!");
    rig.engine.expandOnRequest(snippet, {"Ann", "Oslo"});
    rig.executor.runUntilIdle();
    EXPECT_EQ(rig.field.text(), "Hi Ann of Oslo!");
    EXPECT_TRUE(rig.form.presented.empty());

    rig.form.answer["city"] = "Rome";
    rig.engine.copyExpansion(snippet, {"Bo"});
    rig.executor.runUntilIdle();
    EXPECT_EQ(rig.form.presented.size(), 1u);
    EXPECT_EQ(rig.pasteboard.plainText(), "Hi Bo of Rome!");
}

TEST(ExpansionEngineTests, SoundAndDelayedNotificationFollowTheSettings) {
    EngineRig rig;
    rig.settings.value.expansionSound = ExpansionSound::typewriter;
    rig.settings.value.notificationStyle = NotificationStyle::popup;
    auto snippet = makeSnippet(";n", TriggerMode::immediate, "note");
    snippet.label = "Note";
    rig.add(snippet);
    rig.type(";n");
    EXPECT_EQ(rig.sound.played, std::vector<std::string>{"Morse"});
    EXPECT_TRUE(rig.notifications.shown.empty());
    EXPECT_EQ(rig.engine.pendingNotificationCount(), 1u);
    rig.executor.advance(milliseconds(50));
    ASSERT_EQ(rig.notifications.shown.size(), 1u);
    EXPECT_EQ(rig.notifications.shown[0].label, "Note");
    EXPECT_TRUE(rig.notifications.shown[0].popup);
    EXPECT_EQ(rig.engine.pendingNotificationCount(), 0u);
}

TEST(ExpansionEngineTests, DailyCountStartsAgainAfterMidnight) {
    EngineRig rig;
    rig.add(makeSnippet(";d", TriggerMode::immediate, "x"));
    rig.type(";d;d");
    EXPECT_EQ(rig.engine.dailyExpansionCount(), 2);
    rig.executor.advance(hours(14));  // 10:00 → 00:00 the next day
    rig.type(";d");
    EXPECT_EQ(rig.engine.dailyCountDate(), "2026-01-16");
    EXPECT_EQ(rig.engine.dailyExpansionCount(), 1);
    EXPECT_EQ(rig.engine.expansionCount(), 3);
}

TEST(ExpansionEngineTests, FailedInsertionRecordsNothing) {
    EngineRig rig;
    rig.settings.value.expansionSound = ExpansionSound::click;
    const auto& snippet = rig.add(makeSnippet(";f", TriggerMode::immediate, "text"));
    rig.mainQueue.busy = true;
    rig.type(";f");
    rig.executor.advance(milliseconds(100));
    EXPECT_EQ(rig.field.text(), ";f");
    EXPECT_EQ(rig.library.uses[snippet.id], 0);
    EXPECT_TRUE(rig.sound.played.empty());
    EXPECT_TRUE(rig.notifications.shown.empty());
}

TEST(ExpansionEngineTests, ApplicationFilterFollowsTheActiveApplication) {
    EngineRig rig;
    auto snippet = makeSnippet(";w", TriggerMode::immediate, "only in gedit");
    snippet.appFilterMode = AppFilterMode::whitelist;
    snippet.filteredApps.push_back({"org.gnome.gedit", "Text Editor", std::nullopt});
    rig.add(snippet);
    rig.frontmost.activate("org.gnome.Terminal");
    rig.type(";w ");
    rig.frontmost.activate("org.gnome.gedit");
    rig.type(";w");
    EXPECT_EQ(rig.field.text(), ";w only in gedit");
}

TEST(ExpansionEngineTests, ModifiedKeysAndArrowsForgetWhatWasTyped) {
    EngineRig rig;
    rig.add(makeSnippet(";sig", TriggerMode::immediate, "S"));
    rig.type(";si");
    rig.keyboard.pressModified("v");
    rig.type("g");
    EXPECT_EQ(rig.field.text(), ";sig");
    rig.type(" ;sx");
    rig.keyboard.press(SpecialKey::backspace);
    rig.field.backspace();
    rig.type("ig");
    EXPECT_EQ(rig.field.text(), ";sig S");
}

TEST(ExpansionEngineTests, ImageWithoutItsFileLeavesTheAbbreviation) {
    EngineRig rig;
    auto snippet = makeSnippet(";img", TriggerMode::immediate, "");
    snippet.contentType = ContentType::image;
    rig.add(snippet);
    rig.type(";img");
    EXPECT_EQ(rig.field.text(), ";img");
    EXPECT_FALSE(rig.engine.hasActiveExpansion());

    rig.library.images[snippet.id] = Bytes{0x89, 'P', 'N', 'G', 0x0d, 0x0a, 0x1a, 0x0a};
    std::vector<PasteboardItem> pasted;
    rig.sleeper.onSleep = [&](Duration duration) {
        if (duration == milliseconds(250)) {
            pasted = rig.pasteboard.contents(PasteboardSelection::clipboard);
        }
    };
    rig.type(" ;img");
    ASSERT_EQ(pasted.size(), 1u);
    EXPECT_EQ(pasted[0].type, "image/png");
}

TEST(ExpansionEngineTests, ImageThatDoesNotDecodeErasesNothing) {
    EngineRig rig;
    auto snippet = makeSnippet(";img", TriggerMode::immediate, "");
    snippet.contentType = ContentType::image;
    rig.add(snippet);
    rig.library.images[snippet.id] = Bytes{'n', 'o', 't', ' ', 'a', 'n', ' ', 'i', 'm', 'g'};
    rig.pasteboard.representations =
        [](std::vector<PasteboardItem>) -> std::vector<PasteboardItem> {
        throw PasteboardFormatError("cannot be read");
    };
    rig.type(";img");

    EXPECT_EQ(rig.field.text(), ";img");
    EXPECT_EQ(rig.library.uses[snippet.id], 0);
    EXPECT_EQ(rig.pasteboard.plainText(), "user");
    EXPECT_FALSE(rig.engine.hasActiveExpansion());
    // The next expansion is not held up by the failed one.
    rig.add(makeSnippet(";sig", TriggerMode::immediate, "Best regards"));
    rig.type(" ;sig");
    EXPECT_EQ(rig.field.text(), ";img Best regards");
}

TEST(ExpansionEngineTests, RichTextIsOfferedInThePlatformsFormsWhenInsertedAndCopied) {
    EngineRig rig;
    auto snippet = makeSnippet(";rich", TriggerMode::immediate, "Bold");
    snippet.contentType = ContentType::richText;
    const std::string rtf = "{\\rtf1 \\b Bold}";
    snippet.richTextData = Bytes(rtf.begin(), rtf.end());
    rig.add(snippet);
    rig.pasteboard.representations = [](std::vector<PasteboardItem> items) {
        items.insert(items.begin() + 1, {"text/html", "<b>Bold</b>"});
        return items;
    };
    std::vector<PasteboardItem> pasted;
    rig.sleeper.onSleep = [&](Duration duration) {
        if (duration == milliseconds(250)) {
            pasted = rig.pasteboard.contents(PasteboardSelection::clipboard);
        }
    };
    rig.type(";rich");
    EXPECT_EQ(rig.field.text(), "Bold");
    ASSERT_GE(pasted.size(), 3u);
    EXPECT_EQ(pasted[0], (PasteboardItem{"text/rtf", rtf}));
    EXPECT_EQ(pasted[1], (PasteboardItem{"text/html", "<b>Bold</b>"}));

    rig.engine.copyExpansion(snippet);
    rig.executor.runUntilIdle();
    const auto& copied = rig.pasteboard.contents(PasteboardSelection::clipboard);
    ASSERT_GE(copied.size(), 2u);
    EXPECT_EQ(copied[1], (PasteboardItem{"text/html", "<b>Bold</b>"}));
}

TEST(ExpansionEngineTests, CopiedExpansionIsOnTheClipboardAndNothingIsTyped) {
    EngineRig rig;
    rig.settings.value.notificationStyle = NotificationStyle::popup;
    const auto snippet = makeSnippet(";sig", TriggerMode::immediate, "Best regards");
    rig.engine.copyExpansion(snippet);
    rig.executor.runUntilIdle();
    rig.executor.advance(milliseconds(50));

    EXPECT_EQ(rig.pasteboard.plainText(), "Best regards");
    EXPECT_EQ(rig.field.text(), "");
    EXPECT_EQ(rig.engine.expansionCount(), 0);
    ASSERT_EQ(rig.notifications.shown.size(), 1u);
    EXPECT_EQ(rig.notifications.shown[0].kind, NotificationKind::copy);
}

TEST(ExpansionEngineTests, PasteShortcutSetForTheActiveApplicationOverridesTheAutomaticOne) {
    EngineRig rig;
    rig.add(makeSnippet(";sig", TriggerMode::immediate, "Best regards"));
    rig.settings.value.pasteShortcutOverrides = {{"org.example.Term", PasteShortcut::shiftInsert}};
    std::optional<std::string> primaryDuringPaste;
    rig.sleeper.onSleep = [&](Duration duration) {
        if (duration == milliseconds(250)) {
            primaryDuringPaste = rig.pasteboard.textOf(PasteboardSelection::primary);
        }
    };

    rig.frontmost.activate("org.example.Term");
    rig.type(";sig");
    EXPECT_EQ(rig.field.text(), "Best regards");
    EXPECT_EQ(primaryDuringPaste, "Best regards");  // Shift+Insert pastes the primary selection

    primaryDuringPaste.reset();
    rig.frontmost.activate("org.example.Editor");
    rig.type(" ;sig");
    EXPECT_EQ(rig.field.text(), "Best regards Best regards");
    EXPECT_EQ(primaryDuringPaste, std::nullopt);
}

}  // namespace
}  // namespace wordloom

namespace wordloom {
namespace {

TEST(ExpansionEngineTests, EachInsertedExpansionReportsWhatWasTypedAndWhatWasInserted) {
    EngineRig rig;
    rig.add(makeSnippet(";sig", TriggerMode::immediate, "Best {{snippet:;x}}regards"));
    rig.add(makeSnippet("addr", TriggerMode::delimiter, "1 Main St"));
    std::vector<std::tuple<std::string, std::size_t, std::size_t>> recorded;
    rig.engine.onExpansionRecorded = [&](const Snippet& snippet, std::size_t typed,
                                         std::size_t inserted) {
        recorded.emplace_back(snippet.abbreviation, typed, inserted);
    };
    rig.type("Hi ;sig and addr ");
    ASSERT_EQ(recorded.size(), 2u);
    // The nested snippet is unknown: its error text is what was inserted, and counted.
    EXPECT_EQ(recorded[0],
              std::make_tuple(std::string(";sig"), std::size_t{4},
                              std::string("Best [Unknown snippet: ;x]regards").size()));
    EXPECT_EQ(recorded[1], std::make_tuple(std::string("addr"), std::size_t{4}, std::size_t{9}));
}

TEST(ExpansionEngineTests, ANestedSnippetIsFoundWithoutTheMainQueue) {
    EngineRig rig;
    rig.add(makeSnippet(";sig", TriggerMode::immediate, "Best {{snippet:;name}}, regards"));
    rig.add(makeSnippet(";name", TriggerMode::immediate, "Anna"));
    // Evaluation runs here, on the test thread, while the main queue (also this thread) waits:
    // a lookup that needed the main queue could only give up.
    rig.type("Hi ;sig");
    EXPECT_EQ(rig.field.text(), "Hi Best Anna, regards");
}

TEST(ExpansionEngineTests, AfterStoppingForQuitAnEvaluationEndsWithoutInserting) {
    EngineRig rig;
    const auto& snippet = rig.add(makeSnippet(";d", TriggerMode::immediate, "{{date:yyyy}}"));
    std::optional<bool> inserted;
    rig.engine.onExpansionFinished = [&](bool result) { inserted = result; };
    rig.engine.expandOnRequest(snippet);  // its evaluation waits for the background
    rig.engine.stopForQuit();
    rig.executor.runUntilIdle();
    EXPECT_EQ(inserted, false);
    EXPECT_EQ(rig.field.text(), "");
    EXPECT_FALSE(rig.engine.hasActiveExpansion());
}

}  // namespace
}  // namespace wordloom
