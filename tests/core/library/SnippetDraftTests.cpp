#include <gtest/gtest.h>

#include "LibraryTestSupport.h"
#include "StoreFixture.h"
#include "core/library/ShortcutText.h"
#include "core/library/SnippetDraft.h"

namespace wordloom::test {
namespace {

using Kind = AbbreviationVerdict::Kind;

class SnippetDraftTest : public StoreFixture {
  protected:
    SnippetDraftTest() {
        skipSeeding();
        hydrate();
        snippets->add(makeSnippet(";sig", "Signature"));
        auto work = makeGroup("Work");
        workGroup = work.id;
        snippets->addGroup(work);
    }
    static SnippetDraft draft(std::string abbreviation) {
        SnippetDraft draft;
        draft.abbreviation = std::move(abbreviation);
        draft.content = "Hello";
        return draft;
    }
    Uuid workGroup;
};

TEST_F(SnippetDraftTest, AbbreviationIsJudgedAsTheStoreJudgesIt) {
    EXPECT_EQ(draft(";new").checkAbbreviation(*snippets).kind, Kind::acceptable);
    for (const char* invalid : {"", "   ", "\n", "a\tb", "x\x7f"}) {
        const auto verdict = draft(invalid).checkAbbreviation(*snippets);
        EXPECT_EQ(verdict.kind, Kind::invalid) << invalid;
        EXPECT_FALSE(verdict.allowsSaving());
        EXPECT_EQ(verdict.message, invalidAbbreviationMessage(invalid));
    }
    const auto taken = draft(";sig").checkAbbreviation(*snippets);
    EXPECT_EQ(taken.kind, Kind::taken);
    EXPECT_FALSE(taken.allowsSaving());
    EXPECT_EQ(taken.message, "This abbreviation is already used by: Signature");
    const auto similar = draft(";SIG").checkAbbreviation(*snippets);
    EXPECT_EQ(similar.kind, Kind::similar);
    EXPECT_TRUE(similar.allowsSaving());
    EXPECT_EQ(similar.message, "Similar abbreviation exists: Signature (;sig)");
}

TEST_F(SnippetDraftTest, SavingAddsTheSnippetWithTheSettingsDefaultsAndItsGroup) {
    settings->update([](AppSettings& s) { s.defaultTriggerMode = TriggerMode::immediate; });
    auto typed = draft(";hi");
    typed.label = "  Greeting ";
    typed.groupName = "work";
    typed.contentType = ContentType::markdown;
    const Timestamp now = executor.now();
    const auto id = typed.saveTo(*snippets, settings->settings(), now);
    const auto* saved = snippets->snippet(id);
    ASSERT_NE(saved, nullptr);
    EXPECT_EQ(saved->abbreviation, ";hi");
    EXPECT_EQ(saved->label, "Greeting");
    EXPECT_EQ(saved->content, "Hello");
    EXPECT_EQ(saved->groupId, workGroup);
    EXPECT_EQ(saved->contentType, ContentType::markdown);
    EXPECT_EQ(saved->triggerMode, TriggerMode::immediate);
    EXPECT_EQ(saved->createdAt, now);
    EXPECT_EQ(saved->modifiedAt, now);
}

TEST_F(SnippetDraftTest, RefusalsLeaveTheLibraryAsItWas) {
    const auto before = snippets->snippets().size();
    EXPECT_THROW(draft(";sig").saveTo(*snippets, settings->settings(), executor.now()),
                 std::invalid_argument);
    EXPECT_THROW(draft(" ").saveTo(*snippets, settings->settings(), executor.now()),
                 std::invalid_argument);
    auto lost = draft(";ok");
    lost.groupName = "Nowhere";
    try {
        lost.saveTo(*snippets, settings->settings(), executor.now());
        FAIL() << "saved into a group that does not exist";
    } catch (const std::invalid_argument& error) {
        EXPECT_STREQ(error.what(), "No group is named \u201cNowhere\u201d.");
    }
    EXPECT_EQ(snippets->snippets().size(), before);
    // A case-only clash is a warning: it saves.
    EXPECT_NO_THROW(draft(";Sig").saveTo(*snippets, settings->settings(), executor.now()));
}

TEST(ContentTypeNamedTest, AcceptsTheTypesADraftCanHoldOnly) {
    EXPECT_EQ(contentTypeNamed("plainText"), ContentType::plainText);
    EXPECT_EQ(contentTypeNamed("javaScript"), ContentType::javaScript);
    for (const char* refused : {"image", "richText", "PlainText", ""}) {
        EXPECT_THROW(contentTypeNamed(refused), std::invalid_argument) << refused;
    }
}

TEST(ShortcutTextTest, WritesModifiersTheWayThisDesktopNamesThem) {
    EXPECT_EQ(shortcutText({"t", modifier::command | modifier::shift}), "Shift+Super+T");
    EXPECT_EQ(shortcutText({"space", modifier::control | modifier::option}), "Ctrl+Alt+SPACE");
    EXPECT_EQ(shortcutText({"", modifier::control}), "");
}

TEST_F(SnippetDraftTest, UserDefaultsKeepTextValuesNextToFlags) {
    EXPECT_FALSE(defaults->stringForKey("windowGeometry.help"));
    EXPECT_TRUE(defaults->setString("windowGeometry.help", "AdnQy\"\\\n"));
    defaults->setBool("onboardingShown", true);
    UserDefaults again(defaults->file());
    EXPECT_EQ(again.stringForKey("windowGeometry.help"), "AdnQy\"\\\n");
    EXPECT_TRUE(again.boolForKey("onboardingShown"));
    EXPECT_FALSE(again.stringForKey("onboardingShown"));  // a flag is not text
}

}  // namespace
}  // namespace wordloom::test
