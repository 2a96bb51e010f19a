#include <gtest/gtest.h>

#include "DetectionTestSupport.h"
#include "core/base/ManualExecutor.h"
#include "core/expansion/SnippetCache.h"

namespace wordloom {
namespace {

using test::makeRegexSnippet;
using test::makeSnippet;
using test::rebuildNow;

std::vector<Uuid> ids(const SnippetBucket& bucket) {
    std::vector<Uuid> out;
    for (const auto& snippet : bucket) {
        out.push_back(snippet->id);
    }
    return out;
}

AppIdentifier app(std::string bundleId) {
    return AppIdentifier{std::move(bundleId), "App", std::nullopt};
}

class SnippetCacheTest : public ::testing::Test {
  protected:
    ManualExecutor executor;
    SnippetCache cache{executor};
};

TEST_F(SnippetCacheTest, RebuildRunsInTheBackgroundAndTheLastRequestWins) {
    const auto first = makeSnippet(";first");
    const auto second = makeSnippet(";second");
    cache.rebuild({first});
    cache.rebuild({second});
    EXPECT_TRUE(cache.exactLookup(";first").empty()) << "nothing before the queue runs";

    // The queue is serial: one background run builds the first request, which is stale.
    EXPECT_EQ(executor.runBackground(), 1U);
    EXPECT_TRUE(cache.exactLookup(";first").empty());
    EXPECT_EQ(cache.maxAbbreviationLength(), 0U);

    executor.runUntilIdle();
    EXPECT_TRUE(cache.exactLookup(";first").empty());
    EXPECT_EQ(ids(cache.exactLookup(";second")), std::vector<Uuid>{second.id});
    EXPECT_EQ(cache.rebuildGeneration(), 2U);
}

TEST_F(SnippetCacheTest, QueuedRebuildOutlivingTheCacheDoesNothing) {
    auto shortLived = std::make_unique<SnippetCache>(executor);
    shortLived->rebuild({makeSnippet(";x")});
    shortLived.reset();
    executor.runUntilIdle();  // must not touch the destroyed cache
    SUCCEED();
}

TEST_F(SnippetCacheTest, IndexesOnlyEnabledSnippetsNotDeleted) {
    auto disabled = makeSnippet(";off");
    disabled.isEnabled = false;
    auto deleted = makeSnippet(";gone");
    deleted.deletedAt = executor.now();
    rebuildNow(cache, executor, {disabled, deleted, makeSnippet(";on")});
    cache.add(disabled);
    cache.add(deleted);

    for (const auto* text : {";off", ";gone"}) {
        EXPECT_TRUE(cache.exactLookup(text).empty()) << text;
        EXPECT_TRUE(cache.lowercaseLookup(text).empty()) << text;
        EXPECT_TRUE(cache.prefixLookup(text).empty()) << text;
    }
    EXPECT_EQ(cache.maxAbbreviationLength(), 3U);
}

TEST_F(SnippetCacheTest, LengthsCountCharactersAndDropToZeroWhenEmptied) {
    rebuildNow(
        cache, executor,
        {makeSnippet("ab"), makeSnippet("ab"), makeSnippet("caf\u00E9!"), makeSnippet("e\u0301x")});
    EXPECT_EQ(cache.maxAbbreviationLength(), 5U);
    const std::map<std::size_t, std::size_t> expected{{2, 3}, {5, 1}};
    EXPECT_EQ(cache.abbreviationLengthCounts(), expected);

    rebuildNow(cache, executor, {});
    EXPECT_EQ(cache.maxAbbreviationLength(), 0U);
    EXPECT_TRUE(cache.abbreviationLengthCounts().empty());
}

TEST_F(SnippetCacheTest, LookupsKeepLibraryOrderAndCountHitsAndMisses) {
    const auto a = makeSnippet("Sig");
    const auto b = makeSnippet("sig");
    const auto c = makeSnippet("Sig");
    rebuildNow(cache, executor, {a, b, c});

    EXPECT_EQ(ids(cache.exactLookup("Sig")), (std::vector<Uuid>{a.id, c.id}));
    EXPECT_EQ(ids(cache.lowercaseLookup("sig")), (std::vector<Uuid>{a.id, b.id, c.id}));
    EXPECT_TRUE(cache.exactLookup("SIG").empty());
    EXPECT_EQ(cache.cacheHits(), 2U);
    EXPECT_EQ(cache.cacheMisses(), 1U);

    const auto d = makeSnippet("SIG");
    cache.add(d);
    EXPECT_EQ(ids(cache.lowercaseLookup("sig")), (std::vector<Uuid>{a.id, b.id, c.id, d.id}));
    EXPECT_EQ(ids(cache.exactLookup("SIG")), std::vector<Uuid>{d.id});
}

TEST_F(SnippetCacheTest, BucketsHandedOutOutliveAdditionsAndRebuilds) {
    const auto a = makeSnippet("Caf\u00C9");
    const auto b = makeSnippet("caf\u00E9");
    const auto c = makeSnippet(";x");
    rebuildNow(cache, executor, {a, b, c});
    const auto folded = cache.lowercaseLookup("caf\u00E9");
    const auto exact = cache.exactLookup(";x");

    const auto d = makeSnippet("caf\u00E9");
    cache.add(d);
    cache.add(makeSnippet(";xy"));
    EXPECT_EQ(ids(cache.exactLookup("caf\u00E9")), (std::vector<Uuid>{b.id, d.id}));
    EXPECT_EQ(ids(cache.exactLookup("Caf\u00C9")), std::vector<Uuid>{a.id});
    EXPECT_EQ(cache.prefixLookup(";X").size(), 2U);

    rebuildNow(cache, executor, {});
    EXPECT_TRUE(cache.prefixLookup("caf").empty());
    // What the detector still holds stays as it was when looked up.
    EXPECT_EQ(ids(folded), (std::vector<Uuid>{a.id, b.id}));
    ASSERT_EQ(exact.size(), 1U);
    EXPECT_EQ(exact[0].abbreviation, ";x");
}

TEST_F(SnippetCacheTest, RegexSnippetsAreOnlyInTheApplicationBucket) {
    auto everywhere = makeRegexSnippet(";d\\d+");
    auto onlyEditor = makeRegexSnippet(";e\\d+");
    onlyEditor.appFilterMode = AppFilterMode::whitelist;
    onlyEditor.filteredApps = {app("org.editor")};
    auto notEditor = makeRegexSnippet(";n\\d+");
    notEditor.appFilterMode = AppFilterMode::blacklist;
    notEditor.filteredApps = {app("org.editor")};
    rebuildNow(cache, executor, {everywhere, onlyEditor, notEditor});

    EXPECT_TRUE(cache.exactLookup(";d\\d+").empty());
    EXPECT_TRUE(cache.lowercaseLookup(";d\\d+").empty());
    EXPECT_EQ(cache.maxAbbreviationLength(), 0U);

    const auto bucketIds = [&](std::optional<std::string> bundleId) {
        std::vector<Uuid> out;
        for (const auto& s : cache.regexSnippetsForApplication(bundleId)->snippets()) {
            out.push_back(s->id);
        }
        return out;
    };
    EXPECT_EQ(bucketIds("org.editor"), (std::vector<Uuid>{everywhere.id, onlyEditor.id}));
    EXPECT_EQ(bucketIds("org.other"), (std::vector<Uuid>{everywhere.id, notEditor.id}));
    EXPECT_EQ(bucketIds(std::nullopt), (std::vector<Uuid>{everywhere.id, notEditor.id}));
}

TEST_F(SnippetCacheTest, RegexBucketIsMemoisedUntilTheLibraryChanges) {
    rebuildNow(cache, executor, {makeRegexSnippet("a+b")});
    const auto first = cache.regexSnippetsForApplication("org.app");
    EXPECT_EQ(cache.regexSnippetsForApplication("org.app"), first);
    const auto unknown = cache.regexSnippetsForApplication(std::nullopt);
    EXPECT_NE(unknown, first);
    EXPECT_EQ(cache.regexSnippetsForApplication(std::nullopt), unknown);

    cache.add(makeRegexSnippet("c+d"));
    const auto afterAdd = cache.regexSnippetsForApplication(std::nullopt);
    EXPECT_NE(afterAdd, unknown);
    EXPECT_EQ(afterAdd->snippets().size(), 2U);

    rebuildNow(cache, executor, {makeRegexSnippet("a+b")});
    EXPECT_NE(cache.regexSnippetsForApplication(std::nullopt), afterAdd);
}

TEST_F(SnippetCacheTest, IndexedTailLengthsNameEveryLengthThatCanHit) {
    rebuildNow(cache, executor,
               {makeSnippet("sig"), makeSnippet(";SIG"), makeSnippet("g"), makeSnippet("x;sig")});
    std::vector<std::size_t> lengths;
    cache.indexedTailLengths("abc;Sig", lengths);
    EXPECT_EQ(lengths, (std::vector<std::size_t>{1, 3, 4}));
    cache.indexedTailLengths("sigh", lengths);
    EXPECT_TRUE(lengths.empty());
}

TEST_F(SnippetCacheTest, GroupIndexFollowsGroupIds) {
    const auto groupId = Uuid::random();
    auto grouped = makeSnippet(";g");
    grouped.groupId = groupId;
    auto regexGrouped = makeRegexSnippet("r+");
    regexGrouped.groupId = groupId;
    rebuildNow(cache, executor, {grouped, makeSnippet(";loose"), regexGrouped});
    const auto members = cache.snippetsInGroup(groupId);
    ASSERT_EQ(members.size(), 2U);
    EXPECT_EQ(members[0]->id, grouped.id);
    EXPECT_EQ(members[1]->id, regexGrouped.id);
}

}  // namespace
}  // namespace wordloom
