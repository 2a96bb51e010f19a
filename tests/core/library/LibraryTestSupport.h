#pragma once

#include <string>

#include "core/base/FileIO.h"
#include "core/library/Snippet.h"
#include "core/library/SnippetGroup.h"

namespace wordloom::test {

inline Snippet makeSnippet(std::string abbreviation, std::string label = "",
                           std::string content = "text") {
    Snippet s;
    s.id = Uuid::random();
    s.abbreviation = std::move(abbreviation);
    s.label = std::move(label);
    s.content = std::move(content);
    return s;
}

inline SnippetGroup makeGroup(std::string name) {
    SnippetGroup g;
    g.id = Uuid::random();
    g.name = std::move(name);
    return g;
}

}  // namespace wordloom::test
