#pragma once

#include <optional>
#include <string>

#include "core/base/Base64.h"
#include "core/base/Uuid.h"
#include "core/library/Snippet.h"

namespace wordloom {

/// What the expansion engine needs of the snippet library. The app answers it with the snippet
/// and image stores; every call is made on the main queue.
class ExpansionLibrary {
  public:
    virtual ~ExpansionLibrary() = default;
    /// A live snippet with exactly this abbreviation, for {{snippet:...}}.
    virtual std::optional<Snippet> snippetWithAbbreviation(const std::string& abbreviation) = 0;
    /// Counts one use: useCount + 1, lastUsedAt now.
    virtual void recordUse(const Uuid& snippetId) = 0;
    /// The bytes of an image snippet's picture, or nullopt when its file is missing.
    virtual std::optional<Bytes> imageData(const Snippet& snippet) = 0;
};

}  // namespace wordloom
