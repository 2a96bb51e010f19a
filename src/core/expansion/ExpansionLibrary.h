#pragma once

#include <functional>

#include <optional>
#include <string>

#include "core/base/Base64.h"
#include "core/base/Uuid.h"
#include "core/library/Snippet.h"

namespace wordloom {

/// What the expansion engine needs of the snippet library. The app answers it with the snippet
/// and image stores; every call is made on the main queue (the lookup it hands out excepted).
class ExpansionLibrary {
  public:
    virtual ~ExpansionLibrary() = default;
    /// Finds the live snippet with exactly this abbreviation, from any thread.
    using SnippetLookup = std::function<std::optional<Snippet>(const std::string& abbreviation)>;

    /// A live snippet with exactly this abbreviation.
    virtual std::optional<Snippet> snippetWithAbbreviation(const std::string& abbreviation) = 0;
    /// What {{snippet:...}} reads while a snippet is evaluated on a background thread: the
    /// library without a hop to the main queue, which may be busy for longer than the
    /// evaluation can wait. Valid while the library lives.
    virtual SnippetLookup nestedSnippetLookup() = 0;
    /// Counts one use: useCount + 1, lastUsedAt now.
    virtual void recordUse(const Uuid& snippetId) = 0;
    /// The bytes of an image snippet's picture, or nullopt when its file is missing.
    virtual std::optional<Bytes> imageData(const Snippet& snippet) = 0;
};

}  // namespace wordloom
