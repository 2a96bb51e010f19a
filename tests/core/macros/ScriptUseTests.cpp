#include <gtest/gtest.h>

#include "core/macros/ScriptUse.h"

namespace wordloom {
namespace {

Snippet snippet(std::string content, ContentType type = ContentType::plainText) {
    Snippet s;
    s.id = Uuid::random();
    s.abbreviation = ";s";
    s.content = std::move(content);
    s.contentType = type;
    return s;
}

TEST(ScriptUse, OnlyLiveScriptSnippetsAndScriptMacrosCount) {
    EXPECT_FALSE(libraryUsesScripts({}));
    // Look-alikes: the letters, a macro of another kind, an unclosed macro, text about scripts.
    EXPECT_FALSE(libraryUsesScripts({snippet("jsx and JavaScript"), snippet("{{clipboard}} js"),
                                     snippet("{{js:1+1"), snippet("{{input:js}}")}));
    EXPECT_TRUE(libraryUsesScripts({snippet("plain"), snippet("total: {{js:1+1}}")}));
    EXPECT_TRUE(libraryUsesScripts({snippet("{{javascript:return 2}}")}));
    EXPECT_TRUE(libraryUsesScripts({snippet("return 1", ContentType::javaScript)}));
    // Scripts inside a condition still run.
    EXPECT_TRUE(libraryUsesScripts({snippet("{{if:{{js:1}} == 1}}a{{/if}}")}));

    auto deleted = snippet("{{js:1}}");
    deleted.deletedAt = Timestamp{};
    EXPECT_FALSE(libraryUsesScripts({deleted}));
}

}  // namespace
}  // namespace wordloom
