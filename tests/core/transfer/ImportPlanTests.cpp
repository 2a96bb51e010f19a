#include <gtest/gtest.h>

#include "core/base/Iso8601.h"
#include "core/transfer/ImportFormatDetection.h"
#include "core/transfer/ImportPlan.h"

namespace wordloom {
namespace {

const Timestamp kNow = *parseIso8601("2026-11-25T10:00:00Z");

Snippet snippet(std::string abbreviation, std::string content = "x") {
    Snippet s;
    s.id = Uuid::random();
    s.abbreviation = std::move(abbreviation);
    s.content = std::move(content);
    return s;
}

SnippetGroup group(std::string name, std::optional<Uuid> parent = std::nullopt) {
    SnippetGroup g;
    g.id = Uuid::random();
    g.name = std::move(name);
    g.parentId = parent;
    return g;
}

struct Library {
    std::vector<Snippet> snippets;
    std::vector<SnippetGroup> groups;
};

Library sampleLibrary() {
    Library library;
    auto sig = snippet(";sig", "old signature");
    sig.useCount = 9;
    library.snippets.push_back(sig);
    auto trashed = snippet(";gone");
    trashed.deletedAt = kNow;
    library.snippets.push_back(trashed);
    library.groups.push_back(group("Mail"));
    return library;
}

ImportDocument documentWith(std::vector<Snippet> snippets) {
    ImportDocument document;
    document.format = ImportFormat::espanso;
    document.snippets = std::move(snippets);
    return document;
}

TEST(ImportPlan, ConflictPoliciesSkipRenameOrReplaceKeepingHistoryFields) {
    const auto library = sampleLibrary();
    auto imported = [] {
        return documentWith({snippet(";sig", "new signature"), snippet(";gone"),
                             snippet(";sig", "second"), snippet(";new")});
    };

    const auto skip = planImport(library.snippets, library.groups, imported(), {}, kNow);
    EXPECT_EQ(skip.added.size(), 2u);  // ;gone (only in Recently Deleted) and ;new
    EXPECT_EQ(skip.skippedConflicts, 2u);
    ASSERT_EQ(skip.conflicts.size(), 2u);
    EXPECT_EQ(skip.conflicts[0].existingId, library.snippets[0].id);

    const auto rename = planImport(library.snippets, library.groups, imported(),
                                   {ConflictPolicy::rename, std::nullopt}, kNow);
    std::vector<std::string> abbreviations;
    for (const auto& s : rename.added) {
        abbreviations.push_back(s.abbreviation);
    }
    EXPECT_EQ(abbreviations, (std::vector<std::string>{";sig2", ";gone", ";sig3", ";new"}));
    EXPECT_EQ(rename.conflicts[1].renamedTo, ";sig3");

    const auto replace = planImport(library.snippets, library.groups, imported(),
                                    {ConflictPolicy::replace, std::nullopt}, kNow);
    ASSERT_EQ(replace.replaced.size(), 1u);
    const auto& replacement = replace.replaced[0];
    EXPECT_EQ(replacement.before.content, "old signature");
    EXPECT_EQ(replacement.after.content, "second");  // the import's last word wins
    EXPECT_EQ(replacement.after.id, library.snippets[0].id);
    EXPECT_EQ(replacement.after.useCount, 9);
    EXPECT_EQ(replacement.after.modifiedAt, kNow);
    EXPECT_EQ(replace.added.size(), 2u);
}

TEST(ImportPlan, InvalidAbbreviationsAreSkippedAndNamed) {
    auto blank = snippet("   ");
    blank.label = "Blank one";
    const auto plan =
        planImport({}, {}, documentWith({blank, snippet("a\tb"), snippet(";ok")}), {}, kNow);
    EXPECT_EQ(plan.added.size(), 1u);
    EXPECT_EQ(plan.invalidAbbreviations, 2u);
    ASSERT_EQ(plan.warnings.size(), 1u);
    EXPECT_EQ(plan.warnings[0],
              "Skipped 2 snippets whose abbreviation is empty or holds a control character: "
              "\"   \" (Blank one), \"a\\tb\".");
}

TEST(ImportPlan, GroupsMergeByNameAndParentAndGoUnderTheTargetGroup) {
    const auto library = sampleLibrary();
    auto document = documentWith({});
    const auto mail = group("Mail");
    const auto sub = group("Sub", mail.id);
    auto loopA = group("LoopA");
    const auto loopB = group("LoopB", loopA.id);
    loopA.parentId = loopB.id;
    document.groups = {sub, mail, loopA, loopB};
    auto inSub = snippet(";a");
    inSub.groupId = sub.id;
    auto loose = snippet(";b");
    auto lost = snippet(";c");
    lost.groupId = Uuid::random();
    document.snippets = {inSub, loose, lost};

    const auto merged = planImport(library.snippets, library.groups, document, {}, kNow);
    // "Mail" exists: only "Sub" (under it) and the loop's groups are new.
    ASSERT_EQ(merged.addedGroups.size(), 3u);
    EXPECT_EQ(merged.addedGroups[0].name, "Sub");
    EXPECT_EQ(merged.addedGroups[0].parentId, library.groups[0].id);
    EXPECT_EQ(merged.added[0].groupId, merged.addedGroups[0].id);
    EXPECT_FALSE(merged.added[1].groupId);
    EXPECT_FALSE(merged.added[2].groupId);

    const auto targeted = planImport(library.snippets, library.groups, document,
                                     {ConflictPolicy::skip, std::string("From espanso")}, kNow);
    ASSERT_EQ(targeted.addedGroups.size(), 5u);
    const auto& target = targeted.addedGroups[0];
    EXPECT_EQ(target.name, "From espanso");
    EXPECT_FALSE(target.parentId);
    EXPECT_EQ(targeted.addedGroups[1].name, "Mail");
    EXPECT_EQ(targeted.addedGroups[1].parentId, target.id);
    EXPECT_EQ(targeted.added[1].groupId, target.id);
    EXPECT_EQ(targeted.added[2].groupId, target.id);
}

TEST(ImportPlan, KeepsImportedIdsOnlyWhenTheLibraryDoesNotUseThem) {
    const auto library = sampleLibrary();
    auto same = snippet(";other");
    same.id = library.snippets[0].id;
    auto fresh = snippet(";fresh");
    const auto plan =
        planImport(library.snippets, library.groups, documentWith({same, fresh}), {}, kNow);
    ASSERT_EQ(plan.added.size(), 2u);
    EXPECT_NE(plan.added[0].id, library.snippets[0].id);
    EXPECT_EQ(plan.added[1].id, fresh.id);
}

TEST(ImportFormatDetection, ReadsTheContentNotTheName) {
    EXPECT_EQ(detectImportFormat("PK\x03\x04rest"), ImportFormat::alfred);
    EXPECT_EQ(detectImportFormat("\xEF\xBB\xBF  {\"snippets\": []}"), ImportFormat::wordloom);
    EXPECT_EQ(detectImportFormat("[{\"name\": \"a\", \"text\": \"b\"}]"), ImportFormat::raycast);
    EXPECT_EQ(detectImportFormat("# mine\nmatches:\n  - trigger: x\n"), ImportFormat::espanso);
    EXPECT_EQ(detectImportFormat("<?xml version=\"1.0\"?><plist><dict><key>snippetsTE2</key>"),
              ImportFormat::textExpander);
    EXPECT_EQ(detectImportFormat("<?xml version=\"1.0\"?><plist><dict><key>Clippings</key>"),
              ImportFormat::typeIt4Me);
    EXPECT_EQ(detectImportFormat(";sig,\"Kind regards,\nIlse\"\n"), ImportFormat::aText);
    EXPECT_EQ(detectImportFormat("{\"name\": \"not ours\"}"), std::nullopt);
    EXPECT_EQ(detectImportFormat("just some words\n"), std::nullopt);
    EXPECT_EQ(detectImportFormat("Dear diary, nothing here is a list.\n"), std::nullopt);
    EXPECT_EQ(detectImportFormat(""), std::nullopt);
}

}  // namespace
}  // namespace wordloom
