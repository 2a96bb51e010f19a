#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "core/library/Snippet.h"
#include "core/library/SnippetGroup.h"
#include "core/transfer/ImportFormat.h"

namespace wordloom {

/// The most snippets one import may bring in: far above any real library, low enough that a
/// hostile file cannot fill the memory.
inline constexpr std::size_t kMaxImportedSnippets = 100'000;

/// What an import could not carry over as it was, counted per kind so that the user reads
/// "12 snippets use espanso shell variables, kept as text" once rather than twelve lines.
class ImportNotes {
  public:
    /// Counts one snippet under `what`, the rest of the sentence after the count
    /// ("snippets use espanso shell variables, kept as text").
    void count(const std::string& what);
    /// A sentence of its own, kept once.
    void note(std::string sentence);

    /// The sentences in the order their kinds first came up.
    std::vector<std::string> sentences() const;
    bool empty() const { return entries_.empty(); }

  private:
    struct Entry {
        std::string text;
        std::size_t count = 0;  // 0 for a sentence of its own
    };
    std::vector<Entry> entries_;
};

/// A source read and mapped onto the library's records, before anything is applied. Snippet
/// and group ids are the document's own; the plan decides which are kept.
struct ImportDocument {
    ImportFormat format = ImportFormat::wordloom;
    std::vector<Snippet> snippets;
    std::vector<SnippetGroup> groups;
    ImportNotes notes;
};

}  // namespace wordloom
