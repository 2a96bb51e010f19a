#pragma once

#include <optional>
#include <stdexcept>
#include <string>

#include "core/base/JsonReader.h"
#include "core/base/JsonWriter.h"
#include "core/library/Snippet.h"
#include "core/library/SnippetGroup.h"
#include "core/library/SnippetVersion.h"

namespace wordloom {

/// A record that cannot be decoded at all: its identifier is missing or its abbreviation is
/// invalid. Everything else falls back to defaults.
class DecodingError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Decodes one snippet. Missing or unreadable fields take their defaults; dates that are
/// missing take `fallbackDate`. A hotkey without Control, Option or Command is dropped (and
/// logged). Throws DecodingError.
Snippet decodeSnippet(JsonElement element, Timestamp fallbackDate);
void encodeSnippet(JsonWriter& writer, const Snippet& snippet);

SnippetGroup decodeSnippetGroup(JsonElement element, Timestamp fallbackDate);
void encodeSnippetGroup(JsonWriter& writer, const SnippetGroup& group);

SnippetVersion decodeSnippetVersion(JsonElement element, Timestamp fallbackDate);
void encodeSnippetVersion(JsonWriter& writer, const SnippetVersion& version);

std::optional<KeyboardShortcut> decodeKeyboardShortcut(JsonElement element);
void encodeKeyboardShortcut(JsonWriter& writer, const KeyboardShortcut& shortcut);

/// Snippet lists as the library files hold them (sorted keys, pretty-printed).
std::string encodeSnippetList(const std::vector<Snippet>& snippets, bool pretty = true);
std::string encodeGroupList(const std::vector<SnippetGroup>& groups, bool pretty = true);

}  // namespace wordloom
