#include <gtest/gtest.h>

#include "core/base/FileIO.h"
#include "core/base/ManualExecutor.h"
#include "core/library/GroupTree.h"
#include "core/library/LibraryStatistics.h"
#include "core/library/TextDiff.h"
#include "support/TemporaryDirectory.h"

namespace wordloom {
namespace {

using Kind = DiffLine::Kind;

std::string render(const std::vector<DiffLine>& lines) {
    std::string out;
    for (const auto& line : lines) {
        out += line.kind == Kind::same ? ' ' : line.kind == Kind::removed ? '-' : '+';
        out += line.text + "\n";
    }
    return out;
}

TEST(TextDiff, ShowsTheShortestEditWithRemovalsBeforeAdditions) {
    EXPECT_EQ(render(diffLines("a\nb\nc\n", "a\nB\nc\n")), " a\n-b\n+B\n c\n");
    EXPECT_EQ(render(diffLines("", "x\ny")), "+x\n+y\n");
    EXPECT_EQ(render(diffLines("x\ny", "")), "-x\n-y\n");
    EXPECT_EQ(render(diffLines("same", "same")), " same\n");
    EXPECT_EQ(render(diffLines("a\nb\nc\nd", "b\nc\nd\ne")), "-a\n b\n c\n d\n+e\n");
    // CR LF and LF breaks compare equal; a final break does not add an empty line.
    EXPECT_EQ(render(diffLines("a\r\nb\r\n", "a\nb")), " a\n b\n");
    EXPECT_EQ(render(diffLines("one\ntwo\nthree\nfour", "one\n2\nthree\n4\nfive")),
              " one\n-two\n+2\n three\n-four\n+4\n+five\n");
}

TEST(TextDiff, GivesUpGracefullyOnHugeDifferences) {
    std::string before;
    std::string after;
    for (int i = 0; i < 3000; ++i) {
        before += "old " + std::to_string(i) + "\n";
        after += "new " + std::to_string(i) + "\n";
    }
    const auto lines = diffLines("head\n" + before + "tail", "head\n" + after + "tail", 100);
    ASSERT_EQ(lines.size(), 6002u);
    EXPECT_EQ(lines.front(), (DiffLine{Kind::same, "head"}));
    EXPECT_EQ(lines[1].kind, Kind::removed);
    EXPECT_EQ(lines[3001].kind, Kind::added);
    EXPECT_EQ(lines.back(), (DiffLine{Kind::same, "tail"}));
}

SnippetGroup group(const char* name, std::optional<Uuid> parent = std::nullopt,
                   std::int64_t order = 0, bool enabled = true) {
    SnippetGroup g;
    g.id = Uuid::random();
    g.name = name;
    g.parentId = parent;
    g.sortOrder = order;
    g.isEnabled = enabled;
    return g;
}

Snippet inGroup(std::optional<Uuid> groupId, bool deleted = false) {
    Snippet s;
    s.id = Uuid::random();
    s.abbreviation = ";x";
    s.groupId = groupId;
    if (deleted) {
        s.deletedAt = Timestamp{};
    }
    return s;
}

TEST(GroupTree, NestsOrdersAndCountsGroups) {
    std::vector<SnippetGroup> groups;
    groups.push_back(group("Work", std::nullopt, 1, false));
    groups.push_back(group("Home", std::nullopt, 0));
    groups.push_back(group("Mail", groups[0].id));
    groups.push_back(group("Alpha", groups[0].id));
    const std::vector<Snippet> snippets{inGroup(groups[2].id),       inGroup(groups[2].id),
                                        inGroup(groups[2].id, true), inGroup(groups[0].id),
                                        inGroup(std::nullopt),       inGroup(Uuid::random())};
    const GroupTree tree(groups, snippets);
    ASSERT_EQ(tree.roots().size(), 2u);
    EXPECT_EQ(tree.nodes()[tree.roots()[0]].group->name, "Home");
    const auto& work = tree.nodes()[tree.roots()[1]];
    EXPECT_EQ(work.snippetCount, 1u);
    EXPECT_EQ(work.totalSnippetCount, 3u);
    ASSERT_EQ(work.children.size(), 2u);
    EXPECT_EQ(tree.nodes()[work.children[0]].group->name, "Alpha");
    EXPECT_TRUE(tree.nodes()[work.children[1]].effectivelyDisabled);
    EXPECT_EQ(tree.ungroupedCount(), 2u);
    EXPECT_EQ(tree.path(groups[2].id), "Work / Mail");
    EXPECT_FALSE(tree.canMove(groups[0].id, groups[2].id));  // under its own child
    EXPECT_FALSE(tree.canMove(groups[0].id, groups[0].id));
    EXPECT_TRUE(tree.canMove(groups[2].id, groups[1].id));
    EXPECT_TRUE(tree.canMove(groups[2].id, std::nullopt));
    EXPECT_EQ(tree.subtree(groups[0].id).size(), 3u);
}

TEST(GroupTree, KeepsEveryGroupReachableWhenParentsAreMissingOrCircular) {
    std::vector<SnippetGroup> groups;
    groups.push_back(group("A"));
    groups.push_back(group("B", groups[0].id));
    groups[0].parentId = groups[1].id;  // A under B under A
    groups.push_back(group("Orphan", Uuid::random()));
    const GroupTree tree(groups, {});
    std::size_t reachable = 0;
    for (const auto root : tree.roots()) {
        reachable += tree.subtree(tree.nodes()[root].group->id).size();
    }
    EXPECT_EQ(reachable, 3u);
    EXPECT_LE(tree.path(groups[1].id).size(), 5u);
}

TEST(UsageHistory, CountsDaysSavesAfterAPauseAndKeepsAYear) {
    test::TemporaryDirectory folder;
    ManualExecutor executor;
    const auto file = folder / "usage-history.json";
    {
        UsageHistory history(executor, file);
        history.record("2026-11-23", 4, 100);
        history.record("2026-11-24", 5, 20);
        history.record("2026-11-24", 5, 30);
        executor.advance(std::chrono::milliseconds(1999));
        EXPECT_FALSE(std::filesystem::exists(file));
        executor.advance(std::chrono::milliseconds(1));
        EXPECT_TRUE(std::filesystem::exists(file));
    }
    UsageHistory reread(executor, file);
    EXPECT_EQ(reread.days().at("2026-11-24"), (UsageHistory::Day{2, 10, 50}));
    EXPECT_EQ(reread.total(), (UsageHistory::Day{3, 14, 150}));
    for (int i = 0; i < 500; ++i) {
        reread.record(dayBefore("2026-11-24", i), 1, 1);
    }
    EXPECT_EQ(reread.days().size(), UsageHistory::keptDays);
    EXPECT_EQ(reread.days().rbegin()->first, "2026-11-24");

    writeFileAtomically(file, "{\"days\": [");
    UsageHistory broken(executor, file);
    EXPECT_TRUE(broken.days().empty());
}

TEST(LibraryStatistics, ComesFromWhatTheLibraryKeeps) {
    test::TemporaryDirectory folder;
    ManualExecutor executor;
    UsageHistory history(executor, folder / "usage-history.json");
    history.record("2026-11-24", 4, 404);
    history.record("2026-11-22", 4, 4);
    std::vector<Snippet> snippets(4, inGroup(std::nullopt));
    snippets[0].useCount = 3;
    snippets[0].lastUsedAt = Timestamp{std::chrono::seconds(10)};
    snippets[1].useCount = 3;
    snippets[1].lastUsedAt = Timestamp{std::chrono::seconds(20)};
    snippets[2].useCount = 0;
    snippets[3].useCount = 9;
    snippets[3].deletedAt = Timestamp{};
    const auto stats = LibraryStatistics::compute(snippets, history, "2026-11-24", 10, 3);
    EXPECT_EQ(stats.usesAllTime, 6);
    ASSERT_EQ(stats.top.size(), 2u);
    EXPECT_EQ(stats.top[0], &snippets[1]);  // same count, used later
    ASSERT_EQ(stats.neverUsed.size(), 1u);
    EXPECT_EQ(stats.expansionsToday, 1);
    EXPECT_EQ(stats.expansionsRecorded, 2);
    EXPECT_DOUBLE_EQ(stats.minutesSaved, 400.0 / LibraryStatistics::charactersPerMinute);
    EXPECT_EQ(stats.perDay, (std::vector<std::pair<std::string, std::int64_t>>{
                                {"2026-11-22", 1}, {"2026-11-23", 0}, {"2026-11-24", 1}}));
    EXPECT_EQ(dayBefore("2024-03-01", 1), "2024-02-29");
    EXPECT_EQ(dayBefore("2026-01-01", 1), "2025-12-31");
}

}  // namespace
}  // namespace wordloom
