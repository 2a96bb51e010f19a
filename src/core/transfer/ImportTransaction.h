#pragma once

#include <vector>

#include "core/library/Snippet.h"
#include "core/library/SnippetGroup.h"
#include "core/transfer/ImportPlan.h"

namespace wordloom {

class SnippetStore;
class SnippetImageStore;

/// Applies an import plan to the live library in one change, and takes it back when what
/// follows (the save) fails: the library is either as before or fully imported.
class ImportTransaction {
  public:
    ImportTransaction(SnippetStore& store, SnippetImageStore& images);

    /// Stores the pictures of new image snippets as side files, keeps each replaced snippet's state
    /// as a version ("Before import"), then replaces the snippet and group lists at once. When a
    /// picture cannot be stored nothing is changed and ImportError is thrown.
    void apply(ImportPlan plan);

    /// Puts the snippet and group lists back as they were before apply() and removes the
    /// pictures it stored.
    void rollBack();

  private:
    SnippetStore& store_;
    SnippetImageStore& images_;
    std::vector<Snippet> previousSnippets_;
    std::vector<SnippetGroup> previousGroups_;
    std::vector<Uuid> storedImages_;
    bool applied_ = false;
};

}  // namespace wordloom
