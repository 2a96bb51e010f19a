#include <gtest/gtest.h>

#include <chrono>

#include "DetectionTestSupport.h"
#include "core/base/ManualExecutor.h"
#include "core/base/Text.h"
#include "core/expansion/AbbreviationDetector.h"
#include "platform/fake/FakeAccessibilityService.h"

namespace wordloom {
namespace {

using namespace std::chrono_literals;
using test::makeRegexSnippet;
using test::makeSnippet;

class AbbreviationDetectorTest : public ::testing::Test {
  protected:
    void SetUp() override {
        detector.onAbbreviationDetected = [this](const DetectedAbbreviation& match) {
            std::string event = "expand " + match.typedAbbreviation;
            if (match.trigger != DetectionTrigger::immediate) {
                event += " (" + std::string(triggerName(match.trigger)) + ")";
            }
            for (const auto& argument : match.arguments) {
                event += " [" + argument + "]";
            }
            events.push_back(event);
            detected.push_back(match);
        };
        detector.onPendingExpansionFlushed = [this](const SnippetRef&, const std::string& typed,
                                                    const std::string& trailing) {
            events.push_back("flush " + typed + " +" + trailing);
        };
        detector.onPendingExpansionChanged = [this](bool pending) {
            events.push_back(pending ? "pending on" : "pending off");
        };
    }

    void library(std::vector<Snippet> snippets) {
        test::rebuildNow(cache, executor, std::move(snippets));
    }

    void type(std::string_view text) {
        for (const auto character : text::splitCharacters(text)) {
            detector.processTypedText(character);
        }
    }

    std::vector<std::string> takeEvents() { return std::exchange(events, {}); }

    ManualExecutor executor;
    SnippetCache cache{executor};
    test::GroupTable groups;
    test::SettingsValue settings;
    FakeAccessibilityService accessibility;
    AbbreviationDetector detector{groups, settings, accessibility, cache, executor};
    std::vector<std::string> events;
    std::vector<DetectedAbbreviation> detected;
};

using Events = std::vector<std::string>;

TEST_F(AbbreviationDetectorTest, BufferKeepsTheLastHundredCharacters) {
    library({makeSnippet(";nomatch")});
    std::string typed;
    for (int i = 0; i < 150; ++i) {
        typed += static_cast<char>('a' + i % 26);
    }
    type(typed);
    EXPECT_EQ(detector.typedBuffer(), typed.substr(50));
    EXPECT_TRUE(events.empty());
}

TEST_F(AbbreviationDetectorTest, AmbiguousMatchWaitsThenExpands) {
    settings.value.delayAmbiguousExpansions = true;
    library({makeSnippet(";em"), makeSnippet(";email")});

    type(";em");
    EXPECT_EQ(takeEvents(), Events{"pending on"});
    executor.advance(249ms);
    EXPECT_TRUE(events.empty());
    executor.advance(1ms);
    EXPECT_EQ(takeEvents(), (Events{"pending off", "expand ;em"}));
    EXPECT_EQ(detector.typedBuffer(), "");
}

TEST_F(AbbreviationDetectorTest, TypingOnDuringTheWaitReachesTheLongerAbbreviation) {
    settings.value.delayAmbiguousExpansions = true;
    library({makeSnippet(";em"), makeSnippet(";email")});

    type(";ema");
    EXPECT_EQ(takeEvents(), (Events{"pending on", "pending off"}));
    type("il");
    EXPECT_EQ(takeEvents(), Events{"expand ;email"});
    executor.advance(1s);
    EXPECT_TRUE(events.empty()) << "the cancelled wait must not fire";
}

TEST_F(AbbreviationDetectorTest, AKeystrokeThatEndsTheWaitIsHandedOverAsTrailingText) {
    settings.value.delayAmbiguousExpansions = true;
    library({makeSnippet(";em"), makeSnippet(";email")});

    type(";emx");
    EXPECT_EQ(takeEvents(), (Events{"pending on", "pending off", "flush ;em +x"}));
    EXPECT_EQ(detector.typedBuffer(), "") << "the trailing key never enters the buffer";
    executor.advance(1s);
    EXPECT_TRUE(events.empty());
}

TEST_F(AbbreviationDetectorTest, WhatCountsAsALongerAbbreviation) {
    settings.value.delayAmbiguousExpansions = true;
    auto same = makeSnippet(";em");
    auto manual = makeSnippet(";emoji", TriggerMode::manual);
    auto sensitive = makeSnippet(";EMAIL");
    sensitive.caseSensitivity = CaseSensitivity::sensitive;
    auto disabledGroupMember = makeSnippet(";emit");
    auto& group = groups.add("Off");
    group.isEnabled = false;
    disabledGroupMember.groupId = group.id;

    // Nothing that could follow: a manual one, a case-sensitive one in other case, one in a
    // disabled group.
    library({makeSnippet(";em"), manual, sensitive, disabledGroupMember});
    type(";em");
    EXPECT_EQ(takeEvents(), Events{"expand ;em"});

    // A second snippet with the very same abbreviation does count.
    library({makeSnippet(";em"), same});
    type(";em");
    EXPECT_EQ(takeEvents(), Events{"pending on"});
}

TEST_F(AbbreviationDetectorTest, WithoutTheDelaySettingTheShorterExpandsAtOnce) {
    library({makeSnippet(";em"), makeSnippet(";email")});
    type(";em");
    EXPECT_EQ(takeEvents(), Events{"expand ;em"});
    EXPECT_EQ(executor.pendingTimerCount(), 0U);
}

TEST_F(AbbreviationDetectorTest, WordBoundaryRule) {
    library({makeSnippet("sig"), makeSnippet(";addr")});
    type("design");
    EXPECT_TRUE(takeEvents().empty());
    detector.reset();
    type("sig");
    EXPECT_EQ(takeEvents(), Events{"expand sig"}) << "at the start of the buffer";
    type("a sig");
    EXPECT_EQ(takeEvents(), Events{"expand sig"});
    type("(sig");
    EXPECT_EQ(takeEvents(), Events{"expand sig"});
    type("9sig");
    EXPECT_TRUE(takeEvents().empty()) << "digits join words too";
    detector.reset();
    type("home;addr");
    EXPECT_EQ(takeEvents(), Events{"expand ;addr"}) << "a symbol-led abbreviation needs no gap";
}

TEST_F(AbbreviationDetectorTest, LongestTailFirstThenExactCaseBeforeFolded) {
    auto folded = makeSnippet("SIG", TriggerMode::immediate, "folded");
    folded.caseSensitivity = CaseSensitivity::insensitive;
    auto exact = makeSnippet("sig", TriggerMode::immediate, "exact");
    library({makeSnippet("ig"), folded, exact});
    type("sig");
    ASSERT_EQ(detected.size(), 1U);
    EXPECT_EQ(detected[0].snippet->content, "exact");
}

TEST_F(AbbreviationDetectorTest, CaseRules) {
    auto insensitive = makeSnippet("addr");
    insensitive.caseSensitivity = CaseSensitivity::insensitive;
    auto sensitive = makeSnippet("zip");
    sensitive.caseSensitivity = CaseSensitivity::sensitive;
    auto automatic = makeSnippet("tel");
    library({insensitive, sensitive, automatic});

    type("ADDR ZIP Tel");
    EXPECT_EQ(takeEvents(), (Events{"expand ADDR", "expand Tel"}));

    // `auto` falls back to the group, then to the settings.
    settings.value.defaultCaseSensitivity = CaseSensitivity::sensitive;
    type(" TEL");
    EXPECT_TRUE(takeEvents().empty());
    auto& group = groups.add("Loose");
    group.defaultCaseSensitivity = CaseSensitivity::insensitive;
    automatic.groupId = group.id;
    library({automatic});
    type(" TEL");
    EXPECT_EQ(takeEvents(), Events{"expand TEL"});
}

TEST_F(AbbreviationDetectorTest, ApplicationFilter) {
    auto onlyEditor = makeSnippet(";w");
    onlyEditor.appFilterMode = AppFilterMode::whitelist;
    onlyEditor.filteredApps = {{"org.editor", "Editor", std::nullopt}};
    auto notEditor = makeSnippet(";b");
    notEditor.appFilterMode = AppFilterMode::blacklist;
    notEditor.filteredApps = {{"org.editor", "Editor", std::nullopt}};
    library({onlyEditor, notEditor});

    type(";w;b");
    EXPECT_EQ(takeEvents(), Events{"expand ;b"}) << "application unknown";
    detector.setCurrentAppBundleId("org.editor");
    type(";w;b");
    EXPECT_EQ(takeEvents(), Events{"expand ;w"});
    detector.setCurrentAppBundleId("org.other");
    type(";w;b");
    EXPECT_EQ(takeEvents(), Events{"expand ;b"});
}

TEST_F(AbbreviationDetectorTest, DelimiterModeExpandsOnTheDelimiterWithoutIt) {
    library({makeSnippet("sig", TriggerMode::delimiter)});
    type("sig");
    EXPECT_TRUE(takeEvents().empty());
    type(".");
    EXPECT_EQ(takeEvents(), Events{"expand sig (delimiter)"});
    EXPECT_EQ(detected.back().typedText, "sig");
    type("sigh sig\u2014");
    EXPECT_EQ(takeEvents(), Events{"expand sig (delimiter)"});
    type("sig-");
    EXPECT_TRUE(takeEvents().empty()) << "a hyphen is no delimiter";
}

TEST_F(AbbreviationDetectorTest, ManualSnippetsNeverExpandFromTyping) {
    library({makeSnippet("sig", TriggerMode::manual)});
    type("sig sig\n");
    EXPECT_TRUE(events.empty());
}

TEST_F(AbbreviationDetectorTest, PasswordFieldsAndMissingAccessibility) {
    library({makeSnippet(";pw")});
    accessibility.focusSecureField("login");
    type(";pw");
    EXPECT_TRUE(takeEvents().empty());
    EXPECT_EQ(detector.typedBuffer(), "");

    FocusedElement byDescription{{"f"}, "AXTextField", "", "Password Entry"};
    accessibility.setFocusedElement(byDescription);
    type(";pw");
    EXPECT_TRUE(takeEvents().empty());

    accessibility.focusTextField("plain");
    accessibility.setTrusted(false);
    accessibility.recheckTrust();
    type(";pw");
    EXPECT_TRUE(takeEvents().empty()) << "no access: no detection";

    settings.value.expandInPasswordFields = true;
    type(";pw");
    EXPECT_EQ(takeEvents(), Events{"expand ;pw"});
}

TEST(SecureTextField, BySubroleOrRoleDescriptionInAnyCase) {
    const auto field = [](std::string subrole, std::string description) {
        return FocusedElement{{"id"}, "AXTextField", std::move(subrole), std::move(description)};
    };
    EXPECT_TRUE(isSecureTextField(field("AXSecureTextField", "")));
    EXPECT_TRUE(isSecureTextField(field("", "Secure Text Field")));
    EXPECT_TRUE(isSecureTextField(field("", "PASSWORD entry")));
    EXPECT_TRUE(isSecureTextField(field("", "Champ PASSWORD \u00E9tendu")));
    EXPECT_FALSE(isSecureTextField(field("AXSearchField", "search text field")));
    EXPECT_FALSE(isSecureTextField(field("", "")));
}

TEST_F(AbbreviationDetectorTest, TypingIntoAPasswordFieldDropsAWaitingMatch) {
    settings.value.delayAmbiguousExpansions = true;
    library({makeSnippet(";em"), makeSnippet(";email")});
    type(";em");
    accessibility.focusSecureField("same-window-password");
    type("a");
    EXPECT_EQ(takeEvents(), (Events{"pending on", "pending off"}));
    executor.advance(1s);
    EXPECT_TRUE(events.empty());
}

TEST_F(AbbreviationDetectorTest, MovingFocusWhileWaitingDropsTheMatch) {
    settings.value.delayAmbiguousExpansions = true;
    library({makeSnippet(";em"), makeSnippet(";email")});
    type(";em");
    accessibility.focusTextField("another-field");
    executor.advance(250ms);
    EXPECT_EQ(takeEvents(), (Events{"pending on", "pending off"}));
}

TEST_F(AbbreviationDetectorTest, DisabledGroupsSilenceTheirSnippetsAndConsumeTheTyping) {
    auto& parent = groups.add("Parent");
    parent.isEnabled = false;
    auto& child = groups.add("Child");
    child.parentId = parent.id;
    auto nested = makeSnippet(";n");
    nested.groupId = child.id;
    library({nested});
    type(";n");
    EXPECT_TRUE(events.empty());
    EXPECT_EQ(detector.typedBuffer(), "");
}

TEST_F(AbbreviationDetectorTest, BrokenGroupChainsNeitherLoopNorHideTheSnippet) {
    auto& a = groups.add("A");
    auto& b = groups.add("B");
    a.parentId = b.id;
    b.parentId = a.id;
    a.defaultCaseSensitivity = CaseSensitivity::sensitive;
    auto cyclic = makeSnippet("cyc");
    cyclic.groupId = a.id;
    auto orphan = makeSnippet("orp");
    orphan.groupId = Uuid::random();  // its group was deleted
    library({cyclic, orphan});
    type("CYC cyc ORP");
    EXPECT_EQ(takeEvents(), (Events{"expand cyc", "expand ORP"}));
}

TEST_F(AbbreviationDetectorTest, BackspaceEditsTheBufferAndDropsAWait) {
    library({makeSnippet("sig", TriggerMode::delimiter)});
    type("sgi");
    detector.handleBackspace();
    detector.handleBackspace();
    type("ig ");
    EXPECT_EQ(takeEvents(), Events{"expand sig (delimiter)"});

    settings.value.delayAmbiguousExpansions = true;
    library({makeSnippet(";em"), makeSnippet(";email")});
    type(";em");
    detector.handleBackspace();
    EXPECT_EQ(takeEvents(), (Events{"pending on", "pending off"}));
    EXPECT_EQ(detector.typedBuffer(), ";e");
    executor.advance(1s);
    EXPECT_TRUE(events.empty());
}

TEST_F(AbbreviationDetectorTest, ResetAndApplicationSwitchDropEverything) {
    settings.value.delayAmbiguousExpansions = true;
    library({makeSnippet(";em"), makeSnippet(";email"), makeSnippet("xyz")});
    type(";em");
    detector.setCurrentAppBundleId("org.other");
    EXPECT_EQ(takeEvents(), (Events{"pending on", "pending off"}));
    EXPECT_EQ(detector.typedBuffer(), "");
    type("xy");
    detector.reset();
    type("z");
    EXPECT_TRUE(takeEvents().empty());
}

TEST_F(AbbreviationDetectorTest, RegexSnippetsMatchTheEndOfTheBuffer) {
    auto kilos = makeRegexSnippet(";k(\\d+)");
    auto broken = makeRegexSnippet("(broken");
    auto tiny = makeRegexSnippet("q\\d");
    library({broken, tiny, kilos});
    type("(broken ;k12");
    ASSERT_EQ(takeEvents(), Events{"expand ;k1 [1]"});
    type("q7");
    EXPECT_TRUE(takeEvents().empty()) << "matches shorter than three characters are ignored";
    EXPECT_FALSE(detector.regexCache().contains({"(broken", true}));
}

TEST_F(AbbreviationDetectorTest, DelimiterModeRegexMatchesBeforeTheDelimiter) {
    library({makeRegexSnippet("(\\d+)kg", TriggerMode::delimiter)});
    type("12kg");
    EXPECT_TRUE(takeEvents().empty());
    type(" ");
    EXPECT_EQ(takeEvents(), Events{"expand 12kg (delimiter) [12]"});
}

TEST_F(AbbreviationDetectorTest, PrewarmCompilesInTheBackgroundAndLaterRunsWin) {
    const auto first = makeRegexSnippet("a+b");
    const auto second = makeRegexSnippet("c+d");
    auto disabled = makeRegexSnippet("e+f");
    disabled.isEnabled = false;
    detector.prewarmRegexes({first, makeSnippet("plain")});
    detector.prewarmRegexes({second, disabled});
    executor.runUntilIdle();
    EXPECT_FALSE(detector.regexCache().contains({"a+b", true})) << "superseded run dropped";
    EXPECT_TRUE(detector.regexCache().contains({"c+d", true}));
    EXPECT_EQ(detector.regexCache().size(), 1U);
}

TEST_F(AbbreviationDetectorTest, UnicodeAbbreviationsCountCharacters) {
    auto cafe = makeSnippet("caf\u00E9");
    library({cafe, makeSnippet("\u00DF!")});
    type("CAF\u00C9");
    type(" \u00DF!");
    EXPECT_EQ(takeEvents(), (Events{"expand CAF\u00C9", "expand \u00DF!"}));
}

TEST_F(AbbreviationDetectorTest, InlineArgumentsCompleteOnClosingBracketOrReturn) {
    auto greet = makeSnippet(";greet", TriggerMode::delimiter, "Hello {{input:name}}!");
    library({greet});
    type("x ;greet<Alice>");
    EXPECT_EQ(takeEvents(), Events{"expand ;greet (inline) [Alice]"});
    EXPECT_EQ(detected.back().typedText, ";greet<Alice>");

    type(";GREET<a\\<b<c>");
    EXPECT_EQ(takeEvents(), Events{"expand ;GREET (inline) [a<b] [c]"});

    type(";greet<Ann Lee\n");
    EXPECT_EQ(takeEvents(), Events{"expand ;greet (inline) [Ann Lee]"});
    EXPECT_EQ(detected.back().typedText, ";greet<Ann Lee") << "Return stays in the document";

    type(";greet<\n");
    EXPECT_TRUE(takeEvents().empty()) << "an empty argument list is no invocation";
}

TEST_F(AbbreviationDetectorTest, InlineArgumentsNeedFieldsToFill) {
    library({makeSnippet(";plain", TriggerMode::delimiter, "no fields")});
    type(";plain<x>");
    EXPECT_TRUE(events.empty());
}

TEST_F(AbbreviationDetectorTest, AnImmediateSnippetWithFieldsWaitsForInlineArguments) {
    settings.value.delayAmbiguousExpansions = true;
    library({makeSnippet(";hi", TriggerMode::immediate, "Hi {{input:who}}")});
    type(";hi");
    EXPECT_EQ(takeEvents(), Events{"pending on"});
    type("<Bob>");
    EXPECT_EQ(takeEvents(), (Events{"pending off", "expand ;hi (inline) [Bob]"}));

    type(";hi");
    executor.advance(250ms);
    EXPECT_EQ(takeEvents(), (Events{"pending on", "pending off", "expand ;hi"}));
}

}  // namespace
}  // namespace wordloom
