#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/base/Executor.h"
#include "core/library/AppSettings.h"
#include "core/library/Snippet.h"
#include "core/library/SnippetGroup.h"

namespace wordloom {

class SnippetStore;

/// What the quick-create panel thinks of an abbreviation, judged as the store judges it.
struct AbbreviationVerdict {
    enum class Kind { acceptable, invalid, taken, similar };
    Kind kind = Kind::acceptable;
    /// The store's own message; empty when acceptable.
    std::string message;

    /// Whether saving may go ahead (a case-only clash is a warning, not a refusal).
    bool allowsSaving() const { return kind == Kind::acceptable || kind == Kind::similar; }
};

/// A new snippet as typed into the quick-create panel or given to `wordloom quick-create`.
struct SnippetDraft {
    std::string abbreviation;
    std::string label;
    std::string content;
    /// A group's name; empty for none. Matched without regard to case.
    std::string groupName;
    ContentType contentType = ContentType::plainText;

    /// Checks the abbreviation: blank or holding a control character is invalid, an exact clash
    /// with another snippet is refused, a clash in letter case only is a warning.
    AbbreviationVerdict checkAbbreviation(const SnippetStore& store) const;

    /// The group `groupName` names among `groups`, if any.
    std::optional<Uuid> groupIn(const std::vector<SnippetGroup>& groups) const;

    /// The snippet to add: the draft's fields, the settings' default trigger and case, created
    /// and modified `now`.
    Snippet toSnippet(const std::vector<SnippetGroup>& groups, const AppSettings& settings,
                      Timestamp now) const;

    /// Adds the draft to `store` after the same checks. Returns the new snippet's id, or throws
    /// std::invalid_argument with the message to show.
    Uuid saveTo(SnippetStore& store, const AppSettings& settings, Timestamp now) const;
};

/// The content types a new snippet can be given by name ("plainText", "markdown", ...); rich
/// text and images need formatted data that a quick draft does not carry. Throws
/// std::invalid_argument listing the names otherwise.
ContentType contentTypeNamed(std::string_view name);

}  // namespace wordloom
