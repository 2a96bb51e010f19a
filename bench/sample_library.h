// The library most benchmarks work on: snippets ";snip0", ";snip1", ... with a label, two tags
// and 200-2,000 characters of content made of `words` repeated; the same for the same count.
#pragma once

#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "core/base/Uuid.h"
#include "core/library/Snippet.h"

inline std::vector<wordloom::Snippet> makeSampleLibrary(std::size_t count, std::string_view words) {
    std::mt19937 random(static_cast<unsigned>(count));
    std::uniform_int_distribution<int> length(200, 2000);
    std::vector<wordloom::Snippet> snippets;
    snippets.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        wordloom::Snippet s;
        s.id = wordloom::Uuid::random();
        s.abbreviation = ";snip" + std::to_string(i);
        s.label = "Snippet number " + std::to_string(i) + " for replies";
        const auto size = static_cast<std::size_t>(length(random));
        s.content.reserve(size + words.size());
        while (s.content.size() < size) {
            s.content += words;
        }
        s.content.resize(size);
        s.tags = {"work", "tag" + std::to_string(i % 17)};
        snippets.push_back(std::move(s));
    }
    return snippets;
}
