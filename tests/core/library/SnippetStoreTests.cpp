#include <gtest/gtest.h>

#include "LibraryTestSupport.h"
#include "StoreFixture.h"
#include "core/base/FileIO.h"

namespace wordloom::test {
namespace {

using std::chrono::milliseconds;
using Kind = ConflictCheckResult::Kind;

class SnippetStoreTest : public StoreFixture {};

TEST_F(SnippetStoreTest, FirstRunSeedsTheDateGroupOnceAndNeverAgain) {
    hydrate();
    ASSERT_EQ(snippets->groups().size(), 1u);
    const auto group = snippets->groups()[0];
    EXPECT_EQ(group.name, "Date & Time");
    ASSERT_EQ(snippets->snippets().size(), 12u);
    EXPECT_EQ(snippets->snippets()[0].abbreviation, ";today");
    EXPECT_EQ(snippets->snippets()[11].content, "{{date+1m:MMMM d, yyyy}}");
    for (const auto& s : snippets->snippets()) {
        EXPECT_EQ(s.groupId, group.id);
    }
    EXPECT_TRUE(defaults->boolForKey("dateTimeGroupCreated"));

    launch();
    hydrate();
    EXPECT_EQ(snippets->groups().size(), 1u);
    EXPECT_EQ(snippets->snippets().size(), 12u);

    snippets->deleteGroup(group.id);
    settle();
    launch();
    hydrate();
    EXPECT_TRUE(snippets->groups().empty());
}

TEST_F(SnippetStoreTest, ABurstOfChangesIsWrittenOnceAfterTheQuietPeriod) {
    skipSeeding();
    hydrate();
    const auto before = persistence->saveSequence();
    for (int i = 0; i < 10; ++i) {
        snippets->add(makeSnippet(";s" + std::to_string(i)));
        executor.advance(milliseconds(30));
    }
    EXPECT_EQ(persistence->saveSequence(), before);
    executor.advance(milliseconds(469));  // 499 ms after the last change
    EXPECT_EQ(persistence->saveSequence(), before);
    executor.advance(milliseconds(1));
    EXPECT_EQ(persistence->saveSequence(), before + 1);
    EXPECT_EQ(persistence->loadSnippets().size(), 10u);
    EXPECT_EQ(snippets->lastPersistableSnippets().size(), 10u);
}

TEST_F(SnippetStoreTest, TheLastHandedOverListStaysAsSavedUntilTheNextSave) {
    skipSeeding();
    EXPECT_TRUE(snippets->lastPersistableSnippets().empty());
    hydrate();
    const auto kept = makeSnippet(";kept");
    const auto removed = makeSnippet(";removed");
    snippets->add(kept);
    snippets->add(removed);
    settle();
    ASSERT_EQ(snippets->lastPersistableSnippets().size(), 2u);

    // Changes after the save leave the handed-over state alone, counted uses included.
    snippets->recordUse(kept.id);
    snippets->recordUse(kept.id);
    EXPECT_EQ(snippets->lastPersistableSnippets()[0].useCount, 0);
    EXPECT_FALSE(snippets->lastPersistableSnippets()[0].lastUsedAt);
    EXPECT_EQ(snippets->snippet(kept.id)->useCount, 2);
    snippets->deletePermanently(removed.id);
    snippets->add(makeSnippet(";added"));
    const auto& handedOver = snippets->lastPersistableSnippets();
    ASSERT_EQ(handedOver.size(), 2u);
    EXPECT_EQ(handedOver[0].useCount, 0);
    EXPECT_EQ(handedOver[1].abbreviation, ";removed");
    EXPECT_EQ(snippets->snippet(kept.id)->useCount, 2);

    settle();
    EXPECT_EQ(snippets->lastPersistableSnippets(), snippets->snippets());
    EXPECT_EQ(snippets->lastPersistableSnippets()[0].useCount, 2);

    snippets->update([&] {
        auto edited = *snippets->snippet(kept.id);
        edited.content = "edited";
        return edited;
    }());
    EXPECT_NE(snippets->lastPersistableSnippets()[0].content, "edited");
    snippets->flush();
    EXPECT_EQ(snippets->lastPersistableSnippets()[0].content, "edited");
}

TEST_F(SnippetStoreTest, AReplacedLibraryIsHandedOverWholeAndTheOldOneKeptUntilThen) {
    skipSeeding();
    hydrate();
    snippets->add(makeSnippet(";old"));
    settle();
    snippets->replaceAll({makeSnippet(";new1"), makeSnippet(";new2")}, {});
    ASSERT_EQ(snippets->lastPersistableSnippets().size(), 1u);
    EXPECT_EQ(snippets->lastPersistableSnippets()[0].abbreviation, ";old");
    settle();
    ASSERT_EQ(snippets->lastPersistableSnippets().size(), 2u);
    EXPECT_EQ(persistence->loadSnippets().size(), 2u);
}

TEST_F(SnippetStoreTest, AChangeMadeWhileLoadingSurvivesTheLoadAndIsSaved) {
    skipSeeding();
    const auto existing = makeSnippet(";disk");
    persistence->saveSnippets({existing}, persistence->beginSave());
    snippets->startHydration();
    EXPECT_TRUE(snippets->isLoading());
    snippets->add(makeSnippet(";early"));
    executor.runUntilIdle();
    EXPECT_TRUE(snippets->isHydrated());
    ASSERT_EQ(snippets->snippets().size(), 2u);
    EXPECT_EQ(snippets->snippets()[0].abbreviation, ";disk");
    EXPECT_EQ(snippets->snippets()[1].abbreviation, ";early");
    // Saved at once on merge, without waiting for the debounce.
    EXPECT_EQ(persistence->loadSnippets().size(), 2u);
}

TEST_F(SnippetStoreTest, ALoadThatLandsAfterAReplacementIsDropped) {
    skipSeeding();
    persistence->saveSnippets({makeSnippet(";disk")}, persistence->beginSave());
    snippets->startHydration();
    snippets->replaceAll({makeSnippet(";restored")}, {});
    executor.runUntilIdle();
    settle();
    ASSERT_EQ(snippets->snippets().size(), 1u);
    EXPECT_EQ(snippets->snippets()[0].abbreviation, ";restored");
    EXPECT_EQ(persistence->loadSnippets().at(0).abbreviation, ";restored");
}

TEST_F(SnippetStoreTest, UnreadableFilesKeepTheLibraryAndReportTheError) {
    writeFileAtomically(persistence->path(LibraryFile::snippets), "{}");
    hydrate();
    EXPECT_TRUE(snippets->loadFailed());
    EXPECT_TRUE(snippets->lastError().has_value());
    EXPECT_TRUE(snippets->snippets().empty());
    // Nothing is seeded or written over the file the user may still repair.
    EXPECT_EQ(readFile(persistence->path(LibraryFile::snippets)), "{}");

    launch();
    skipSeeding();
    persistence->saveSnippets({makeSnippet(";ok")}, persistence->beginSave());
    writeFileAtomically(persistence->path(LibraryFile::groups), "not json");
    hydrate();
    EXPECT_EQ(snippets->snippets().size(), 1u);
    EXPECT_TRUE(
        snippets->lastError()->starts_with("Snippets loaded, but groups could not be read: "));
}

TEST_F(SnippetStoreTest, ConflictsAreExactThenCaseInsensitive) {
    skipSeeding();
    hydrate();
    auto a = makeSnippet(";a", "Alpha");
    auto b = makeSnippet(";sig", "Signature");
    snippets->add(a);
    snippets->add(b);

    const auto exact = snippets->checkConflict(";sig", a.id);
    EXPECT_EQ(exact.kind, Kind::exactMatch);
    EXPECT_EQ(exact.message(), "This abbreviation is already used by: Signature");

    const auto similar = snippets->checkConflict(";SIG", a.id);
    EXPECT_EQ(similar.kind, Kind::caseInsensitiveMatch);
    EXPECT_EQ(similar.message(), "Similar abbreviation exists: Signature (;sig)");

    EXPECT_EQ(snippets->checkConflict(";sig", b.id).kind, Kind::noConflict);
    EXPECT_FALSE(snippets->checkConflict(";sig", b.id).message());

    snippets->softDelete(b.id);
    EXPECT_EQ(snippets->checkConflict(";sig", a.id).kind, Kind::noConflict);
}

TEST_F(SnippetStoreTest, InvalidAbbreviationsAreRefused) {
    skipSeeding();
    hydrate();
    EXPECT_THROW(snippets->add(makeSnippet("   ")), std::invalid_argument);
    EXPECT_THROW(snippets->add(makeSnippet("a\tb")), std::invalid_argument);
    auto s = makeSnippet(";ok ");
    snippets->add(s);
    EXPECT_EQ(snippets->snippet(s.id)->abbreviation, ";ok ");
    s.abbreviation = "\n";
    EXPECT_THROW(snippets->update(s), std::invalid_argument);
}

TEST_F(SnippetStoreTest, DuplicateCopiesWithANewIdAndItsOwnImage) {
    skipSeeding();
    hydrate();
    auto original = makeSnippet(";sig", "Signature");
    original.useCount = 7;
    snippets->add(original);
    const auto copy = snippets->duplicate(original.id);
    EXPECT_NE(copy.id, original.id);
    EXPECT_EQ(copy.label, "Signature Copy");
    EXPECT_EQ(copy.content, original.content);
    EXPECT_EQ(copy.useCount, 0);

    auto picture = makeSnippet(";pic", "Photo");
    picture.contentType = ContentType::image;
    picture.imageData = Bytes{4, 5, 6};
    snippets->add(picture);
    EXPECT_FALSE(snippets->snippet(picture.id)->imageData);  // moved into a side file
    const auto pictureCopy = snippets->duplicate(picture.id);
    EXPECT_EQ(images->read(pictureCopy.id), (Bytes{4, 5, 6}));

    images->remove(picture.id);
    const auto countBefore = snippets->snippets().size();
    try {
        snippets->duplicate(picture.id);
        FAIL() << "expected the duplicate to fail";
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "Couldn't load the image for Photo. Duplicate not created.");
    }
    EXPECT_EQ(snippets->snippets().size(), countBefore);
}

TEST_F(SnippetStoreTest, DeletingMovesToRecentlyDeletedAndEmptyingRemovesImagesAndHistory) {
    skipSeeding();
    hydrate();
    auto picture = makeSnippet(";pic", "Photo");
    picture.contentType = ContentType::image;
    picture.imageData = Bytes{1};
    snippets->add(picture);
    auto edited = *snippets->snippet(picture.id);
    edited.label = "Photo 2";
    snippets->update(edited);
    EXPECT_EQ(versions->versions(picture.id).size(), 1u);

    snippets->softDelete(picture.id);
    EXPECT_TRUE(snippets->snippet(picture.id)->isDeleted());
    EXPECT_TRUE(snippets->snippetsWithAbbreviation(";pic").empty());
    snippets->restore(picture.id);
    EXPECT_FALSE(snippets->snippet(picture.id)->isDeleted());

    snippets->softDelete(picture.id);
    snippets->emptyRecentlyDeleted();
    EXPECT_EQ(snippets->snippet(picture.id), nullptr);
    EXPECT_TRUE(images->storedIds().empty());
    EXPECT_TRUE(versions->versions(picture.id).empty());
}

TEST_F(SnippetStoreTest, EditsKeepTheEarlierStateAndRestoringAVersionKeepsTheCurrentOne) {
    skipSeeding();
    hydrate();
    auto s = makeSnippet(";sig", "Signature", "Best");
    snippets->add(s);
    auto edited = *snippets->snippet(s.id);
    edited.content = "Regards";
    snippets->update(edited);
    snippets->recordUse(s.id);  // usage is not an edit
    const auto history = versions->versions(s.id);
    ASSERT_EQ(history.size(), 1u);
    EXPECT_EQ(history[0].content, "Best");

    snippets->restoreVersion(history[0]);
    EXPECT_EQ(snippets->snippet(s.id)->content, "Best");
    EXPECT_EQ(snippets->snippet(s.id)->useCount, 1);
    const auto after = versions->versions(s.id);
    ASSERT_EQ(after.size(), 2u);
    EXPECT_EQ(after[0].content, "Regards");
    EXPECT_EQ(after[0].changeDescription, "Before restore");
}

TEST_F(SnippetStoreTest, EveryChangeIsAnnounced) {
    skipSeeding();
    int announcements = 0;
    auto subscription = snippets->observeChanges([&] { ++announcements; });
    hydrate();
    EXPECT_EQ(announcements, 1);  // the load
    const auto s = makeSnippet(";a");
    snippets->add(s);
    snippets->recordUse(s.id);
    snippets->softDelete(s.id);
    EXPECT_EQ(announcements, 4);
}

TEST_F(SnippetStoreTest, DeletingAGroupUngroupsItsSnippetsAndLiftsItsChildren) {
    skipSeeding();
    hydrate();
    auto parent = makeGroup("Work");
    auto middle = makeGroup("Mail");
    middle.parentId = parent.id;
    auto child = makeGroup("Replies");
    child.parentId = middle.id;
    snippets->addGroup(parent);
    snippets->addGroup(middle);
    snippets->addGroup(child);
    auto s = makeSnippet(";m");
    s.groupId = middle.id;
    snippets->add(s);
    snippets->deleteGroup(middle.id);
    EXPECT_EQ(snippets->group(child.id)->parentId, parent.id);
    EXPECT_FALSE(snippets->snippet(s.id)->groupId);
}

TEST_F(SnippetStoreTest, FlushWritesAPendingChangeAtOnce) {
    skipSeeding();
    hydrate();
    snippets->add(makeSnippet(";now"));
    snippets->flush();
    EXPECT_EQ(persistence->loadSnippets().size(), 1u);
}

TEST_F(SnippetStoreTest, UseCountsWaitForTheNextSaveOrAMinuteAndKeepTheFileFormat) {
    skipSeeding();
    hydrate();
    const auto used = makeSnippet(";used");
    snippets->add(used);
    settle();
    const auto storedUseCount = [&] {
        for (const auto& s : persistence->loadSnippets()) {
            if (s.id == used.id) {
                return s.useCount;
            }
        }
        return std::int64_t{-1};
    };

    // Steady typing: a use every 5 s. Nothing is written for them until a minute after the
    // first, however many follow, and then one write holds them all.
    const auto before = persistence->saveSequence();
    for (int i = 0; i < 11; ++i) {
        snippets->recordUse(used.id);
        executor.advance(std::chrono::seconds(5));
    }
    EXPECT_EQ(persistence->saveSequence(), before);
    snippets->recordUse(used.id);
    executor.advance(std::chrono::seconds(5));
    EXPECT_EQ(persistence->saveSequence(), before + 1);
    EXPECT_EQ(storedUseCount(), 12);
    const auto lastUsed = snippets->snippet(used.id)->lastUsedAt;
    EXPECT_EQ(persistence->loadSnippets()[0].lastUsedAt, lastUsed);

    // A real change takes the counts with it, after the usual half second.
    snippets->recordUse(used.id);
    snippets->add(makeSnippet(";other"));
    executor.advance(milliseconds(500));
    EXPECT_EQ(persistence->saveSequence(), before + 2);
    EXPECT_EQ(storedUseCount(), 13);
    executor.advance(std::chrono::seconds(120));
    EXPECT_EQ(persistence->saveSequence(), before + 2);  // nothing left to write

    // Quitting writes what is pending.
    snippets->recordUse(used.id);
    snippets->flush();
    EXPECT_EQ(storedUseCount(), 14);
    executor.advance(std::chrono::seconds(120));
    EXPECT_EQ(persistence->saveSequence(), before + 3);
}

}  // namespace
}  // namespace wordloom::test
