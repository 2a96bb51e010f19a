#include <gtest/gtest.h>

#include "LibraryTestSupport.h"
#include "core/library/SnippetSearch.h"

namespace wordloom::test {
namespace {

using std::chrono::hours;

std::vector<std::string> abbreviations(const std::vector<SnippetSearchHit>& hits) {
    std::vector<std::string> result;
    for (const auto& hit : hits) {
        result.push_back(hit.abbreviation);
    }
    return result;
}

class SnippetSearchTest : public ::testing::Test {
  protected:
    Snippet& add(std::string abbreviation, std::string label = "", std::string content = "text") {
        library.push_back(
            makeSnippet(std::move(abbreviation), std::move(label), std::move(content)));
        return library.back();
    }
    std::vector<std::string> find(std::string_view query, std::size_t limit = 50) {
        search.rebuild(library, [this](const std::optional<Uuid>& id) {
            return id && *id == group.id ? group.name : std::string();
        });
        return abbreviations(search.search(query, limit));
    }

    std::vector<Snippet> library;
    SnippetGroup group = makeGroup("Customer Replies");
    SnippetSearch search;
};

TEST(SnippetSearchFoldTest, IgnoresCaseAndAccentsButKeepsOtherLetters) {
    EXPECT_EQ(SnippetSearch::fold("Café CRÈME"), "cafe creme");
    EXPECT_EQ(SnippetSearch::fold("Straße"), "strasse");
    EXPECT_EQ(SnippetSearch::fold("Ærø ÅNGSTRÖM"), "ærø angstrom");
    EXPECT_EQ(SnippetSearch::fold("東京 ;Sig"), "東京 ;sig");
    EXPECT_EQ(SnippetSearch::fold(""), "");
}

TEST_F(SnippetSearchTest, RanksExactThenPrefixThenLabelWordThenAnyOtherMatch) {
    add("xaddr", "Office", "my address is here");  // content and inner abbreviation
    add("note", "Home address");                   // a word of the label starts with it
    add("addr2", "Second");                        // abbreviation prefix
    add("addr", "First");                          // exact abbreviation
    add("misc", "Readdress");                      // inside a label word only
    add("none", "Nothing", "unrelated");
    EXPECT_EQ(find("addr"), (std::vector<std::string>{"addr", "addr2", "note", "misc", "xaddr"}));
}

TEST_F(SnippetSearchTest, LeadingPunctuationOfAnAbbreviationMayBeLeftOut) {
    add("xsig", "Signature");
    add(";sigs", "Signatures");
    add(";sig", "Short");
    add(";;", "Only punctuation", "semicolons ;; here");
    EXPECT_EQ(find("sig"), (std::vector<std::string>{";sig", ";sigs", "xsig"}));
    EXPECT_EQ(find(";sig"), (std::vector<std::string>{";sig", ";sigs"}));
    EXPECT_EQ(find(";;"), (std::vector<std::string>{";;"}));
    EXPECT_TRUE(find(";x").empty());
}

TEST_F(SnippetSearchTest, MatchesWithoutRegardToCaseOrAccentsEitherWay) {
    add(";cafe", "Café au lait");
    add(";resume", "", "Attached is my RÉSUMÉ.");
    EXPECT_EQ(find("CAFÉ"), (std::vector<std::string>{";cafe"}));
    EXPECT_EQ(find("cafe au"), (std::vector<std::string>{";cafe"}));
    EXPECT_EQ(find("résumé"), (std::vector<std::string>{";resume"}));
    EXPECT_EQ(find("Resume"), (std::vector<std::string>{";resume"}));
}

TEST_F(SnippetSearchTest, WordStartsAfterPunctuationAndInOtherScripts) {
    add("a1", "hello-world");
    add("a2", "(Écrire) vite");
    add("a3", "Preworded");
    EXPECT_EQ(find("world"), (std::vector<std::string>{"a1"}));
    EXPECT_EQ(find("ecrire"), (std::vector<std::string>{"a2"}));
    // "word" starts no word of "Preworded": it is a plain match, after no better one.
    EXPECT_EQ(find("word"), (std::vector<std::string>{"a3"}));
}

TEST_F(SnippetSearchTest, TiesGoToTheMostUsedThenTheMostRecentlyUsed) {
    const Timestamp now{hours(1000)};
    add("sig-old").useCount = 3;
    library.back().lastUsedAt = now - hours(5);
    add("sig-new").useCount = 3;
    library.back().lastUsedAt = now;
    add("sig-busy").useCount = 9;
    add("sig-never");
    EXPECT_EQ(find("sig"),
              (std::vector<std::string>{"sig-busy", "sig-new", "sig-old", "sig-never"}));
    // Use never beats a better kind of match.
    add("sig").useCount = 0;
    EXPECT_EQ(find("sig").front(), "sig");
}

TEST_F(SnippetSearchTest, SearchesTagsAndGroupNamesAndLeavesOutDeletedAndDisabled) {
    add("t1").tags = {"Invoices"};
    add("g1").groupId = group.id;
    add("d1", "invoice draft").deletedAt = Timestamp{hours(1)};
    add("off", "invoice off").isEnabled = false;
    EXPECT_EQ(find("invoice"), (std::vector<std::string>{"t1"}));
    EXPECT_EQ(find("customer"), (std::vector<std::string>{"g1"}));
}

TEST_F(SnippetSearchTest, EmptyQueryListsTheMostUsedAndLimitCaps) {
    add("a").useCount = 1;
    add("b").useCount = 5;
    add("c").useCount = 3;
    EXPECT_EQ(find(""), (std::vector<std::string>{"b", "c", "a"}));
    EXPECT_EQ(find("  "), (std::vector<std::string>{"b", "c", "a"}));
    EXPECT_EQ(find("", 2), (std::vector<std::string>{"b", "c"}));
    EXPECT_TRUE(find("zzz").empty());
}

TEST_F(SnippetSearchTest, RowsShowTheGroupAndTheFirstNonBlankLineShortened) {
    add("p1", "Label", "\n   \n  First line  \nsecond").groupId = group.id;
    add("p2", "", std::string(300, 'x'));
    add("p3", "", "");
    std::string accents;
    for (int i = 0; i < 130; ++i) {
        accents += "e\u0301";  // e and a combining acute: one character, two code points
    }
    add("p4", "", accents);
    add("p5", "", std::string(120, 'y'));
    search.rebuild(library, [this](const std::optional<Uuid>& id) {
        return id && *id == group.id ? group.name : std::string();
    });
    const auto hits = search.search("p", 10);
    ASSERT_EQ(hits.size(), 5u);
    EXPECT_EQ(hits[0].preview, "First line");
    EXPECT_EQ(hits[0].groupName, "Customer Replies");
    EXPECT_EQ(hits[0].label, "Label");
    EXPECT_EQ(hits[1].preview, std::string(119, 'x') + "\u2026");
    EXPECT_EQ(hits[2].preview, "");
    // Cut between characters, never between a letter and its accent.
    EXPECT_EQ(hits[3].preview.substr(hits[3].preview.size() - 5), "\u0301\u2026");
    EXPECT_EQ(hits[4].preview, std::string(120, 'y'));
}

}  // namespace
}  // namespace wordloom::test
