#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "core/base/InlineText.h"

using wordloom::InlineText;

namespace {

// Texts at and around the point where storage moves from inside the object to the heap, with
// bytes that C strings would stop at.
std::vector<std::string> textsAroundTheInlineLimit() {
    std::vector<std::string> texts = {"", std::string("a\0b", 3)};
    for (std::size_t size : {InlineText::inlineCapacity - 1, InlineText::inlineCapacity,
                             InlineText::inlineCapacity + 1, std::size_t{1000}}) {
        std::string text(size, 'x');
        text.front() = '{';
        text.back() = '}';
        texts.push_back(text);
    }
    return texts;
}

}  // namespace

TEST(InlineText, KeepsEveryTextWhetherInlineOrOnTheHeap) {
    for (const std::string& original : textsAroundTheInlineLimit()) {
        const InlineText text(original);
        EXPECT_EQ(text.view(), original);
        EXPECT_EQ(text.size(), original.size());
        EXPECT_EQ(text.str(), original);

        InlineText copy = text;
        EXPECT_EQ(copy, text);
        InlineText moved = std::move(copy);
        EXPECT_EQ(moved.view(), original);

        // Reassigning across the limit in both directions leaves no trace of the old text.
        InlineText reused("short");
        reused.assign(original);
        EXPECT_EQ(reused.view(), original);
        reused.assign("again short");
        EXPECT_EQ(reused.view(), "again short");
    }
}

TEST(InlineText, ComparesByContentOnly) {
    EXPECT_EQ(InlineText(), InlineText(""));
    EXPECT_EQ(InlineText("{{cursor}}"), "{{cursor}}");
    EXPECT_NE(InlineText("{{cursor}}"), InlineText("{{cursor }}"));
    EXPECT_NE(InlineText(std::string(60, 'x')), InlineText(std::string(61, 'x')));
    EXPECT_NE(InlineText("a"), InlineText(std::string("a\0", 2)));
}
