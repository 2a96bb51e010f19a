#pragma once

#include "core/expansion/ExpansionLibrary.h"
#include "core/library/SnippetImageStore.h"
#include "core/library/SnippetStore.h"

namespace wordloom {

/// The snippet and image stores as the expansion engine's library.
class StoreExpansionLibrary final : public ExpansionLibrary {
  public:
    StoreExpansionLibrary(SnippetStore& snippets, SnippetImageStore& images)
        : snippets_(snippets), images_(images) {}

    std::optional<Snippet> snippetWithAbbreviation(const std::string& abbreviation) override;
    void recordUse(const Uuid& snippetId) override;
    std::optional<Bytes> imageData(const Snippet& snippet) override;

    /// True while the store announces a use this library recorded: only the use count and
    /// date changed, which nothing that detects or expands snippets reads.
    bool isRecordingUse() const { return recordingUse_; }

  private:
    SnippetStore& snippets_;
    SnippetImageStore& images_;
    bool recordingUse_ = false;
};

}  // namespace wordloom
