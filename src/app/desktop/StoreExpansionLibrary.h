#pragma once

#include "core/expansion/ExpansionLibrary.h"
#include "core/expansion/SnippetCache.h"
#include "core/library/SnippetImageStore.h"
#include "core/library/SnippetStore.h"

namespace wordloom {

/// The snippet and image stores as the expansion engine's library.
class StoreExpansionLibrary final : public ExpansionLibrary {
  public:
    /// `detectionIndex` holds the same snippets, indexed for lookups from any thread.
    StoreExpansionLibrary(SnippetStore& snippets, SnippetImageStore& images,
                          SnippetCache& detectionIndex)
        : snippets_(snippets), images_(images), detectionIndex_(detectionIndex) {}

    std::optional<Snippet> snippetWithAbbreviation(const std::string& abbreviation) override;
    /// Reads the detection index, which is thread-safe and holds only enabled snippets.
    SnippetLookup nestedSnippetLookup() override;
    void recordUse(const Uuid& snippetId) override;
    std::optional<Bytes> imageData(const Snippet& snippet) override;

    /// True while the store announces a use this library recorded: only the use count and
    /// date changed, which nothing that detects or expands snippets reads.
    bool isRecordingUse() const { return recordingUse_; }

  private:
    SnippetStore& snippets_;
    SnippetImageStore& images_;
    SnippetCache& detectionIndex_;
    bool recordingUse_ = false;
};

}  // namespace wordloom
