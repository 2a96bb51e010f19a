#include "app/cli/SnippetPrinting.h"

#include "core/triggers/HotkeyRegistry.h"

#include <algorithm>
#include <ostream>

#include "app/cli/LibraryCommandSupport.h"
#include "core/base/Iso8601.h"
#include "core/base/JsonWriter.h"
#include "core/base/Text.h"
#include "core/library/LibraryCoding.h"

namespace wordloom::cli {
namespace {

void pad(std::ostream& out, std::string_view text, std::size_t width) {
    out << text;
    for (auto n = text::characterCount(text); n < width; ++n) {
        out << ' ';
    }
}

// Control characters would garble the terminal; show them escaped.
std::string printable(std::string_view text) {
    return text::containsControlCharacter(text) ? text::debugQuoted(text) : std::string(text);
}

std::string joined(const std::vector<std::string>& items) {
    std::string result;
    for (const auto& item : items) {
        result += (result.empty() ? "" : ", ") + item;
    }
    return result;
}

}  // namespace

void printSnippetTable(std::ostream& out, const SnippetStore& store,
                       const std::vector<Snippet>& snippets) {
    if (snippets.empty()) {
        out << "No snippets.\n";
        return;
    }
    std::size_t abbreviationWidth = 0;
    std::size_t nameWidth = 0;
    for (const auto& s : snippets) {
        abbreviationWidth =
            std::max(abbreviationWidth, text::characterCount(printable(s.abbreviation)));
        nameWidth = std::max(nameWidth, text::characterCount(printable(s.displayName())));
    }
    nameWidth = std::min<std::size_t>(nameWidth, 40);
    for (const auto& s : snippets) {
        pad(out, printable(s.abbreviation), abbreviationWidth + 2);
        const auto group = groupPath(store, s.groupId);
        std::string state;
        if (!s.isEnabled) {
            state += " [disabled]";
        }
        if (s.isDeleted()) {
            state += " [deleted]";
        }
        if (group.empty() && state.empty()) {
            out << printable(s.displayName()) << "\n";
            continue;
        }
        pad(out, printable(s.displayName()), nameWidth + 2);
        out << (group.empty() ? "" : "(" + group + ")") << state << "\n";
    }
    out << snippets.size() << (snippets.size() == 1 ? " snippet\n" : " snippets\n");
}

void printSnippetDetails(std::ostream& out, const SnippetStore& store, const Snippet& s) {
    out << "id:              " << s.id.toString() << "\n";
    out << "abbreviation:    " << printable(s.abbreviation) << "\n";
    out << "label:           " << printable(s.label) << "\n";
    out << "type:            " << rawValue(s.contentType) << "\n";
    if (s.codeLanguage) {
        out << "language:        " << rawValue(*s.codeLanguage) << "\n";
    }
    out << "group:           " << (s.groupId ? groupPath(store, s.groupId) : "(none)") << "\n";
    out << "enabled:         " << (s.isEnabled ? "yes" : "no") << "\n";
    out << "trigger:         " << rawValue(s.triggerMode) << "\n";
    out << "case:            " << rawValue(s.caseSensitivity) << "\n";
    out << "match:           " << rawValue(s.matchType) << "\n";
    out << "apps:            " << rawValue(s.appFilterMode);
    for (const auto& app : s.filteredApps) {
        out << " " << app.bundleId;
    }
    out << "\n";
    if (!s.tags.empty()) {
        out << "tags:            " << joined(s.tags) << "\n";
    }
    if (s.hotkey) {
        out << "hotkey:          " << hotkeyDisplayForm(s.hotkey->keyCode, s.hotkey->modifiers)
            << "\n";
    }
    if (s.imageFileName) {
        out << "image:           " << *s.imageFileName << "\n";
    }
    out << "created:         " << formatIso8601(s.createdAt) << "\n";
    out << "modified:        " << formatIso8601(s.modifiedAt) << "\n";
    out << "used:            " << s.useCount << (s.useCount == 1 ? " time" : " times");
    if (s.lastUsedAt) {
        out << ", last " << formatIso8601(*s.lastUsedAt);
    }
    out << "\n";
    if (s.deletedAt) {
        out << "deleted:         " << formatIso8601(*s.deletedAt) << "\n";
    }
    out << "content:\n" << s.content << (s.content.ends_with('\n') ? "" : "\n");
}

void printSnippetJson(std::ostream& out, const Snippet& snippet) {
    JsonWriter w;
    encodeSnippet(w, snippet);
    out << w.take() << "\n";
}

}  // namespace wordloom::cli
