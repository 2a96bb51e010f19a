#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "core/library/Snippet.h"

namespace wordloom {

class SnippetStore;

/// What the snippet editor says about the snippet as edited, judged as the store and the
/// command line judge it: errors that keep it from being saved, and a warning that does not.
struct SnippetEditVerdict {
    /// Why it can't be saved (the first problem found); empty when it can.
    std::string error;
    /// Worth saying, not stopping for: an abbreviation differing from another only in case, or
    /// one the snippet already shared with another before this edit.
    std::string warning;

    bool allowsSaving() const { return error.empty(); }
};

/// Whether `pattern` compiles as the detector compiles a regex abbreviation.
bool isValidAbbreviationPattern(std::string_view pattern);

/// Checks `edited`, the new state of a snippet in `store` (or a snippet not yet added). An
/// abbreviation another snippet holds exactly is refused, unless the snippet held it already
/// before the edit: a clash made elsewhere (an import, a sync) must not lock the snippet.
SnippetEditVerdict checkSnippetEdit(const SnippetStore& store, const Snippet& edited);

/// Saves `edited` through the store (an update, or an add when it is not in the library yet)
/// after checkSnippetEdit(). Returns the verdict; nothing is written when it refuses.
SnippetEditVerdict saveSnippetEdit(SnippetStore& store, const Snippet& edited);

}  // namespace wordloom
