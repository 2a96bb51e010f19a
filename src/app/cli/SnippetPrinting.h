#pragma once

#include <iosfwd>
#include <vector>

#include "core/library/SnippetStore.h"

namespace wordloom::cli {

/// One line per snippet: abbreviation, display name, group, and its state.
void printSnippetTable(std::ostream& out, const SnippetStore& store,
                       const std::vector<Snippet>& snippets);

/// Every field of one snippet, one per line.
void printSnippetDetails(std::ostream& out, const SnippetStore& store, const Snippet& snippet);

/// One snippet as snippets.json encodes it.
void printSnippetJson(std::ostream& out, const Snippet& snippet);

}  // namespace wordloom::cli
