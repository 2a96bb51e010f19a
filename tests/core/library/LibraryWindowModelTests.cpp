#include <gtest/gtest.h>

#include "StoreFixture.h"
#include "core/base/FileIO.h"
#include "core/library/LibraryActions.h"
#include "core/library/LibraryBackup.h"
#include "core/library/SnippetEditCheck.h"
#include "core/library/SnippetListing.h"

namespace wordloom {
namespace {

class LibraryWindowModels : public test::StoreFixture {
  protected:
    LibraryWindowModels() {
        skipSeeding();
        hydrate();
    }

    Uuid add(const std::string& abbreviation, const std::string& label = "",
             std::optional<Uuid> group = std::nullopt, std::int64_t uses = 0) {
        Snippet snippet;
        snippet.id = Uuid::random();
        snippet.abbreviation = abbreviation;
        snippet.label = label;
        snippet.content = "Content of " + abbreviation;
        snippet.groupId = group;
        snippet.useCount = uses;
        snippets->add(snippet);
        return snippet.id;
    }

    Uuid addGroup(const std::string& name, std::optional<Uuid> parent = std::nullopt) {
        const auto result = libraryActions::addGroup(*snippets, name, parent, executor.now());
        EXPECT_TRUE(result.ok());
        return result.created.at(0);
    }

    std::vector<std::string> listed(SnippetListing& listing) {
        listing.rebuild(snippets->snippets(), snippets->groups());
        std::vector<std::string> names;
        for (const auto* snippet : listing.rows()) {
            names.push_back(snippet->abbreviation);
        }
        return names;
    }

    const Snippet& get(const Uuid& id) { return *snippets->snippet(id); }
};

using Names = std::vector<std::string>;

TEST_F(LibraryWindowModels, ScopesCoverGroupsBelowUngroupedAndRecentlyDeleted) {
    const auto work = addGroup("Work");
    const auto mail = addGroup("Mail", work);
    add(";b", "", work);
    add(";a", "", mail);
    add(";c");
    const auto gone = add(";d", "", work);
    snippets->softDelete(gone);
    Snippet orphan;
    orphan.id = Uuid::random();
    orphan.abbreviation = ";orphan";
    orphan.groupId = Uuid::random();  // its group was deleted elsewhere
    snippets->add(orphan);

    SnippetListing listing;
    EXPECT_EQ(listed(listing), (Names{";a", ";b", ";c", ";orphan"}));
    listing.setScope(LibraryScope::inGroup(work));
    EXPECT_EQ(listed(listing), (Names{";a", ";b"}));
    listing.setScope(LibraryScope::inGroup(mail));
    EXPECT_EQ(listed(listing), (Names{";a"}));
    listing.setScope(LibraryScope::ungrouped());
    EXPECT_EQ(listed(listing), (Names{";c", ";orphan"}));
    listing.setScope(LibraryScope::deleted());
    EXPECT_EQ(listed(listing), (Names{";d"}));
    listing.setQuery("nothing like it");
    EXPECT_EQ(listed(listing), Names{});
    listing.setQuery("CONTENT of ;d");
    EXPECT_EQ(listed(listing), (Names{";d"}));
}

TEST_F(LibraryWindowModels, SearchRanksAsQuickSearchAndKeepsDisabledSnippets) {
    add(";addr", "Home address", std::nullopt, 1);
    add(";sig", "Signature", std::nullopt, 5);
    add(";sign", "Sign-off", std::nullopt, 9);
    add(";x", "Design notes", std::nullopt, 50);
    const auto off = add(";sigoff", "", std::nullopt, 0);
    Snippet disabled = get(off);
    disabled.isEnabled = false;
    snippets->update(disabled);

    SnippetListing listing;
    listing.setQuery("sig");
    // Exact first, then prefixes by use, then the label word, then anywhere.
    EXPECT_EQ(listed(listing), (Names{";sig", ";sign", ";sigoff", ";x"}));

    // A chosen column overrides the ranking, in both directions.
    listing.setSort(SnippetColumn::uses, false);
    EXPECT_EQ(listed(listing), (Names{";x", ";sign", ";sig", ";sigoff"}));
    listing.setSort(SnippetColumn::label, true);
    EXPECT_EQ(listed(listing), (Names{";sigoff", ";x", ";sign", ";sig"}));
    listing.setQuery("");
    listing.setSort(std::nullopt, true);
    EXPECT_EQ(listed(listing), (Names{";addr", ";sig", ";sign", ";sigoff", ";x"}));
    EXPECT_EQ(listing.rowOf(off), 3u);
}

TEST_F(LibraryWindowModels, BulkActionsChangeEverySelectedSnippetThroughTheStore) {
    const auto work = addGroup("Work");
    const auto a = add(";a", "Alpha");
    const auto b = add(";b");
    const std::vector<Uuid> both{a, b};

    EXPECT_TRUE(libraryActions::setEnabled(*snippets, both, false).ok());
    EXPECT_FALSE(get(a).isEnabled);
    EXPECT_FALSE(get(b).isEnabled);
    EXPECT_TRUE(libraryActions::moveToGroup(*snippets, both, work).ok());
    EXPECT_EQ(get(b).groupId, work);
    EXPECT_TRUE(libraryActions::addTag(*snippets, both, " Mail ").ok());
    EXPECT_TRUE(libraryActions::addTag(*snippets, both, "mail").ok());  // already there
    EXPECT_EQ(get(a).tags, (std::vector<std::string>{"Mail"}));
    EXPECT_FALSE(libraryActions::addTag(*snippets, both, "  ").ok());

    const auto copies = libraryActions::duplicate(*snippets, both);
    ASSERT_EQ(copies.created.size(), 2u);
    EXPECT_EQ(get(copies.created[0]).label, "Alpha Copy");

    EXPECT_TRUE(libraryActions::moveToRecentlyDeleted(*snippets, both).ok());
    EXPECT_TRUE(get(a).isDeleted());
    EXPECT_TRUE(libraryActions::restore(*snippets, {a}).ok());
    EXPECT_FALSE(get(a).isDeleted());
    EXPECT_TRUE(libraryActions::deletePermanently(*snippets, {b}).ok());
    EXPECT_EQ(snippets->snippet(b), nullptr);

    // A snippet that vanished meanwhile (another command deleted it) is reported, the rest done.
    const auto result = libraryActions::setEnabled(*snippets, {b, a}, true);
    EXPECT_EQ(result.errors.size(), 1u);
    EXPECT_TRUE(get(a).isEnabled);
    EXPECT_FALSE(libraryActions::moveToGroup(*snippets, {a}, Uuid::random()).ok());

    // Every change was saved as the command line saves it.
    settle();
    launch();
    hydrate();
    EXPECT_EQ(get(a).groupId, work);
    EXPECT_EQ(snippets->snippet(b), nullptr);
}

TEST_F(LibraryWindowModels, GroupsAreNamedApartAndNeverMovedIntoThemselves) {
    const auto work = addGroup("Work");
    EXPECT_EQ(snippets->group(addGroup("work"))->name, "work 2");
    const auto mail = addGroup("Mail", work);
    EXPECT_EQ(snippets->group(addGroup("Mail"))->name, "Mail");  // another parent
    EXPECT_FALSE(libraryActions::addGroup(*snippets, " ", std::nullopt, executor.now()).ok());

    EXPECT_FALSE(libraryActions::moveGroup(*snippets, work, mail).ok());
    EXPECT_FALSE(libraryActions::moveGroup(*snippets, work, work).ok());
    EXPECT_EQ(snippets->group(work)->parentId, std::nullopt);
    EXPECT_TRUE(libraryActions::moveGroup(*snippets, mail, std::nullopt).ok());
    EXPECT_EQ(snippets->group(mail)->parentId, std::nullopt);

    EXPECT_FALSE(libraryActions::renameGroup(*snippets, work, "\n").ok());
    EXPECT_TRUE(libraryActions::renameGroup(*snippets, work, " Office ").ok());
    EXPECT_EQ(snippets->group(work)->name, "Office");
    EXPECT_TRUE(libraryActions::setGroupEnabled(*snippets, work, false).ok());
    EXPECT_FALSE(snippets->group(work)->isEnabled);
}

TEST_F(LibraryWindowModels, EditorRefusesWhatTheStoreAndCommandLineRefuse) {
    const auto sig = add(";sig");
    const auto other = add(";other");
    Snippet edited = get(other);

    edited.abbreviation = " \n";
    EXPECT_FALSE(checkSnippetEdit(*snippets, edited).allowsSaving());
    edited.abbreviation = ";sig";
    EXPECT_EQ(checkSnippetEdit(*snippets, edited).error,
              "This abbreviation is already used by: ;sig");
    edited.abbreviation = ";SIG";
    const auto similar = checkSnippetEdit(*snippets, edited);
    EXPECT_TRUE(similar.allowsSaving());
    EXPECT_NE(similar.warning.find("Similar abbreviation exists"), std::string::npos);

    edited.abbreviation = "(unclosed";
    edited.matchType = AbbreviationMatchType::regex;
    EXPECT_EQ(saveSnippetEdit(*snippets, edited).error,
              "The abbreviation \u201c(unclosed\u201d is not a valid regular expression.");
    EXPECT_EQ(get(other).abbreviation, ";other");  // nothing written
    edited.abbreviation = "d+\\.";
    EXPECT_TRUE(saveSnippetEdit(*snippets, edited).allowsSaving());
    EXPECT_EQ(get(other).matchType, AbbreviationMatchType::regex);

    edited.contentType = ContentType::image;
    EXPECT_FALSE(checkSnippetEdit(*snippets, edited).allowsSaving());

    // A clash made elsewhere does not lock the snippet: its other fields still save.
    Snippet twin;
    twin.id = Uuid::random();
    twin.abbreviation = ";sig";
    snippets->add(twin);
    Snippet relabelled = get(sig);
    relabelled.label = "Signature";
    const auto verdict = saveSnippetEdit(*snippets, relabelled);
    EXPECT_TRUE(verdict.allowsSaving());
    EXPECT_FALSE(verdict.warning.empty());
    EXPECT_EQ(get(sig).label, "Signature");
}

TEST_F(LibraryWindowModels, BackupsRestoreAllOrNothingWithTheCommandLinesMessages) {
    const auto sig = add(";sig", "Signature");
    const auto file = folder / "backup.json";
    EXPECT_EQ(makeLibraryBackup(*persistence, *snippets, *settings, *images, file),
              "Backed up 1 snippets and 0 groups to " + file.string() + ".");
    snippets->softDelete(sig);
    add(";later");

    // A file that is not a backup changes nothing.
    writeFileAtomically(folder / "notes.json", std::string("[1, 2"));
    try {
        restoreLibraryBackup(*persistence, *snippets, *settings, folder / "notes.json",
                             executor.now());
        FAIL() << "a broken backup was restored";
    } catch (const std::runtime_error& error) {
        EXPECT_NE(std::string(error.what()).find("is not a Wordloom backup"), std::string::npos);
    }
    EXPECT_EQ(snippets->snippets().size(), 2u);
    EXPECT_THROW(restoreLibraryBackup(*persistence, *snippets, *settings, folder / "missing.json",
                                      executor.now()),
                 std::runtime_error);

    EXPECT_EQ(restoreLibraryBackup(*persistence, *snippets, *settings, file, executor.now()),
              "Restored 1 snippets and 0 groups from " + file.string() + ".");
    ASSERT_EQ(snippets->snippets().size(), 1u);
    EXPECT_FALSE(get(sig).isDeleted());
    settle();
    launch();
    hydrate();
    EXPECT_EQ(snippets->snippets().size(), 1u);
}

}  // namespace
}  // namespace wordloom
