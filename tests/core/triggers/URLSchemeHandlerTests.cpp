#include <gtest/gtest.h>

#include <map>
#include <tuple>

#include "core/triggers/URLSchemeHandler.h"

namespace wordloom {
namespace {

using Kind = RouteOutcome::Kind;

/// A library and windows that record what the handler asked of them.
struct Rig {
    std::vector<Snippet> snippets;
    bool allowed = true;
    std::vector<std::string> inserted;
    std::vector<std::string> copied;
    std::vector<std::vector<std::string>> argumentsSeen;
    std::optional<QuickCreatePrefill> prefill;
    std::optional<std::string> searched;
    std::optional<Uuid> selected;
    bool clipboardWindow = true;

    Snippet& add(const std::string& abbreviation, const std::string& content) {
        Snippet s;
        s.id = Uuid::random();
        s.abbreviation = abbreviation;
        s.content = content;
        snippets.push_back(s);
        return snippets.back();
    }

    URLSchemeHandler handler() {
        URLSchemeHandler::Actions actions;
        actions.isURLExpansionAllowed = [this] { return allowed; };
        actions.findActive = [this](std::string_view abbreviation) {
            std::vector<const Snippet*> found;
            for (const auto& s : snippets) {
                if (s.abbreviation == abbreviation && !s.isDeleted()) {
                    found.push_back(&s);
                }
            }
            return found;
        };
        actions.findById = [this](const Uuid& id) -> const Snippet* {
            for (const auto& s : snippets) {
                if (s.id == id) {
                    return &s;
                }
            }
            return nullptr;
        };
        actions.isEnabled = [](const Snippet& s) { return s.isEnabled; };
        actions.evaluate = [this](const Snippet& s, const std::vector<std::string>& arguments) {
            argumentsSeen.push_back(arguments);
            return "<" + s.content + ">";
        };
        actions.insertText = [this](const std::string& text) { inserted.push_back(text); };
        actions.copyText = [this](const std::string& text) { copied.push_back(text); };
        actions.presentQuickCreate =
            [this](const QuickCreatePrefill& p) -> std::optional<std::string> {
            prefill = p;
            return std::nullopt;
        };
        actions.presentQuickSearch = [this](const std::string& q) -> std::optional<std::string> {
            searched = q;
            return std::nullopt;
        };
        actions.presentClipboardHistory = [this]() -> std::optional<std::string> {
            if (!clipboardWindow) {
                return "The clipboard history is not part of this Wordloom yet.";
            }
            return std::nullopt;
        };
        actions.selectSnippet = [this](const Uuid& id) -> std::optional<std::string> {
            selected = id;
            return std::nullopt;
        };
        return URLSchemeHandler(actions);
    }
};

TEST(URLSchemeHandler, ExpandsWithCaseInsensitiveSchemeRouteAndNames) {
    Rig rig;
    rig.add(";sig", "Best regards");
    const auto outcome = rig.handler().handle("WORDLOOM://EXPAND?ABBR=;sig");
    EXPECT_EQ(outcome.kind, Kind::expanded) << outcome.message;
    EXPECT_EQ(rig.inserted, std::vector<std::string>{"<Best regards>"});
    for (const char* alias : {"abbreviation", "abbr", "keyword"}) {
        EXPECT_EQ(rig.handler().handle(std::string("wordloom://expand?") + alias + "=%3Bsig").kind,
                  Kind::expanded);
    }
}

TEST(URLSchemeHandler, CopyIsAFlagAndArgumentsAreInline) {
    Rig rig;
    rig.add(";greet", "Hi {{input:Name}}");
    auto handler = rig.handler();
    EXPECT_EQ(handler.handle("wordloom://expand?abbr=;greet&copy").kind, Kind::expanded);
    EXPECT_EQ(rig.copied.size(), 1u);
    EXPECT_EQ(handler.handle("wordloom://expand?abbr=;greet&copy=no&args=%3CAnn+Lee%3E").kind,
              Kind::expanded);
    EXPECT_EQ(rig.inserted.size(), 1u);
    // "+" stays a plus sign; %20 is the space.
    EXPECT_EQ(rig.argumentsSeen.back(), std::vector<std::string>{"Ann+Lee"});
    handler.handle("wordloom://expand?abbr=;greet&inline=%3CAnn%20Lee%3COslo");
    EXPECT_EQ(rig.argumentsSeen.back(), (std::vector<std::string>{"Ann Lee", "Oslo"}));
}

TEST(URLSchemeHandler, RefusesWhatALinkMayNotDo) {
    Rig rig;
    rig.add(";js", "x").contentType = ContentType::javaScript;
    rig.add(";run", "{{js:return 1}}");
    rig.add(";ai", "{{ai:hello}}");
    rig.add(";clip", "{{clipboard}}");
    rig.add(";sel", "{{selection}}");
    rig.add(";pua", "a\uE000b");
    rig.add(";key", "a{{key:tab}}");
    rig.add(";if", "{{if:x}}y{{/if}}");
    rig.add(";outer", "{{snippet:;middle}}");
    rig.add(";middle", "{{date}} {{snippet:;clip}}");
    rig.add(";loop", "{{snippet:;loop}} {{uuid}} {{random:1-6}} {{cursor}} {{time}}");
    rig.add(";off", "x").isEnabled = false;
    auto handler = rig.handler();
    const auto refusal = [&](const char* abbreviation) {
        return handler.handle(std::string("wordloom://expand?abbr=") + abbreviation).message;
    };
    EXPECT_EQ(refusal(";js"), "JavaScript snippets cannot be expanded from a URL");
    EXPECT_EQ(refusal(";run"), "Snippets that run JavaScript cannot be expanded from a URL");
    EXPECT_EQ(refusal(";ai"), "Snippets that call AI cannot be expanded from a URL");
    EXPECT_EQ(refusal(";clip"),
              "Snippets that read the clipboard or selected text cannot be expanded from a URL");
    EXPECT_EQ(refusal(";sel"), refusal(";clip"));
    EXPECT_EQ(refusal(";pua"), "Snippets from a link cannot contain private-use characters");
    EXPECT_EQ(refusal(";key"),
              "Snippets from a link can only use date, time, fill-in, cursor, "
              "random and UUID macros");
    EXPECT_EQ(refusal(";if"), refusal(";key"));
    EXPECT_EQ(refusal(";outer"), refusal(";clip"));  // through a nested snippet
    EXPECT_EQ(refusal(";off"), "Snippet is disabled or in a disabled group");
    EXPECT_EQ(refusal(";none"), "Matching active snippet not found");
    EXPECT_EQ(handler.handle("wordloom://expand?abbr=;loop").kind, Kind::expanded);  // a cycle ends
    EXPECT_EQ(rig.inserted.size(), 1u);  // nothing else was inserted or copied
    EXPECT_TRUE(rig.copied.empty());

    rig.allowed = false;
    EXPECT_EQ(rig.handler().handle("wordloom://expand?abbr=;loop").message,
              "URL scheme expansion is disabled in Preferences");
}

TEST(URLSchemeHandler, PrivateUseCharactersInANestedSnippetAreRefused) {
    Rig rig;
    rig.add(";a", "{{snippet:;b}}");
    rig.add(";b", "plane 15: \U000F0001");
    EXPECT_EQ(rig.handler().handle("wordloom://expand?abbr=;a").message,
              "Snippets from a link cannot contain private-use characters");
}

TEST(URLSchemeHandler, ParameterLengthIsCountedInCharacters) {
    Rig rig;
    rig.add(";sig", "x");
    auto handler = rig.handler();
    std::string ok(65'536, 'a');
    EXPECT_EQ(handler.handle("wordloom://search?query=" + ok).kind, Kind::openedQuickSearch);
    EXPECT_EQ(handler.handle("wordloom://search?query=" + ok + "a").message,
              "Parameter 'query' exceeds maximum length");
    // 65,536 two-byte characters: over the limit in bytes, within it in characters.
    std::string accented;
    for (int i = 0; i < 65'536; ++i) {
        accented += "\u00e9";
    }
    EXPECT_EQ(handler.handle("wordloom://search?query=" + accented).kind, Kind::openedQuickSearch);
    // The length is checked before any route runs.
    EXPECT_EQ(handler.handle("wordloom://nowhere?x=" + ok + "a").message,
              "Parameter 'x' exceeds maximum length");
}

TEST(URLSchemeHandler, RoutesTheirAliasesAndMissingHosts) {
    Rig rig;
    const auto& sig = rig.add(";sig", "x");
    auto handler = rig.handler();
    for (const char* route : {"new-snippet", "create-snippet", "add-snippet"}) {
        EXPECT_EQ(handler
                      .handle(std::string("wordloom://") + route +
                              "?abbr=;hi&text=Hello%20there&title=Greeting&collection=Work&"
                              "type=markdown")
                      .kind,
                  Kind::openedQuickCreate);
    }
    EXPECT_EQ(rig.prefill,
              (QuickCreatePrefill{";hi", "Hello there", "Greeting", "Work", "markdown"}));
    EXPECT_EQ(handler.handle("wordloom:quick-search?query=a+b").kind, Kind::openedQuickSearch);
    EXPECT_EQ(rig.searched, "a+b");
    EXPECT_EQ(handler.handle("wordloom:///search/?query=c").kind, Kind::openedQuickSearch);
    EXPECT_EQ(handler.handle("wordloom://clipboard-history").kind, Kind::openedClipboardHistory);
    rig.clipboardWindow = false;
    EXPECT_EQ(rig.handler().handle("wordloom://clipboard").message,
              "The clipboard history is not part of this Wordloom yet.");
    EXPECT_EQ(handler.handle("wordloom://edit-snippet?snippetId=" + sig.id.toString()).kind,
              Kind::selectedSnippet);
    EXPECT_EQ(rig.selected, sig.id);
    EXPECT_EQ(handler.handle("wordloom://snippet?abbr=;sig").kind, Kind::selectedSnippet);
    EXPECT_EQ(handler.handle("wordloom://snippet?abbr=;nope").message, "Snippet not found");
    EXPECT_EQ(handler.handle("wordloom://frobnicate").message, "Unknown route 'frobnicate'");
    EXPECT_EQ(handler.handle("http://expand?abbr=;sig").message, "Unsupported URL scheme");
    EXPECT_EQ(handler.handle("not a link").message, "Unsupported URL scheme");
}

}  // namespace
}  // namespace wordloom

namespace wordloom {
namespace {

TEST(URLSchemeHandler, ThePipelineTakesASafeSnippetWithItsArgumentsOrSaysWhyNot) {
    Rig rig;
    rig.add(";greet", "Hi {{input:Name}}");
    rig.add(";clip", "{{clipboard}}");
    std::vector<std::tuple<std::string, std::vector<std::string>, bool>> handed;
    std::optional<std::string> refusal;
    URLSchemeHandler::Actions withPipeline;
    withPipeline.isURLExpansionAllowed = [] { return true; };
    withPipeline.findActive = [&rig](std::string_view abbreviation) {
        std::vector<const Snippet*> found;
        for (const auto& s : rig.snippets) {
            if (s.abbreviation == abbreviation) {
                found.push_back(&s);
            }
        }
        return found;
    };
    withPipeline.isEnabled = [](const Snippet&) { return true; };
    withPipeline.expandSnippet = [&](const Snippet& s, const std::vector<std::string>& arguments,
                                     bool copy) {
        handed.emplace_back(s.abbreviation, arguments, copy);
        return refusal;
    };
    const URLSchemeHandler handler(withPipeline);

    auto outcome = handler.handle("wordloom://expand?abbr=;greet&args=%3CAnn&copy=yes");
    EXPECT_EQ(outcome.kind, Kind::expanded) << outcome.message;
    ASSERT_EQ(handed.size(), 1u);
    EXPECT_EQ(handed[0],
              std::make_tuple(std::string(";greet"), std::vector<std::string>{"Ann"}, true));
    // The safety rules run first: an unsafe snippet never reaches the pipeline.
    outcome = handler.handle("wordloom://expand?abbr=;clip");
    EXPECT_EQ(outcome.kind, Kind::rejected);
    EXPECT_EQ(handed.size(), 1u);
    // A pipeline that cannot expand now (paused) turns the link down with its reason.
    refusal = "Expansion is paused";
    outcome = handler.handle("wordloom://expand?abbr=;greet");
    EXPECT_EQ(outcome.kind, Kind::rejected);
    EXPECT_EQ(outcome.message, "Expansion is paused");
    EXPECT_EQ(std::get<2>(handed.back()), false);
}

}  // namespace
}  // namespace wordloom
