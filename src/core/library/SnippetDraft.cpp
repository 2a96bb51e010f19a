#include "core/library/SnippetDraft.h"

#include <stdexcept>

#include "core/base/EnumCoding.h"
#include "core/base/Text.h"
#include "core/library/SnippetStore.h"

namespace wordloom {

AbbreviationVerdict SnippetDraft::checkAbbreviation(const SnippetStore& store) const {
    if (!isValidAbbreviation(abbreviation)) {
        return {AbbreviationVerdict::Kind::invalid, invalidAbbreviationMessage(abbreviation)};
    }
    const auto conflict = store.checkConflict(abbreviation, std::nullopt);
    switch (conflict.kind) {
        case ConflictCheckResult::Kind::noConflict:
            return {};
        case ConflictCheckResult::Kind::exactMatch:
            return {AbbreviationVerdict::Kind::taken, conflict.message().value_or("")};
        case ConflictCheckResult::Kind::caseInsensitiveMatch:
            return {AbbreviationVerdict::Kind::similar, conflict.message().value_or("")};
    }
    return {};
}

std::optional<Uuid> SnippetDraft::groupIn(const std::vector<SnippetGroup>& groups) const {
    const auto wanted = text::trimWhitespaceAndNewlines(groupName);
    if (wanted.empty()) {
        return std::nullopt;
    }
    for (const auto& group : groups) {
        if (text::equalsIgnoringCase(group.name, wanted)) {
            return group.id;
        }
    }
    return std::nullopt;
}

Snippet SnippetDraft::toSnippet(const std::vector<SnippetGroup>& groups,
                                const AppSettings& settings, Timestamp now) const {
    Snippet snippet;
    snippet.id = Uuid::random();
    snippet.abbreviation = abbreviation;
    snippet.label = std::string(text::trimWhitespaceAndNewlines(label));
    snippet.content = content;
    snippet.contentType = contentType;
    snippet.groupId = groupIn(groups);
    snippet.triggerMode = settings.defaultTriggerMode;
    snippet.caseSensitivity = settings.defaultCaseSensitivity;
    snippet.createdAt = now;
    snippet.modifiedAt = now;
    return snippet;
}

Uuid SnippetDraft::saveTo(SnippetStore& store, const AppSettings& settings, Timestamp now) const {
    const auto verdict = checkAbbreviation(store);
    if (!verdict.allowsSaving()) {
        throw std::invalid_argument(verdict.message);
    }
    if (!text::trimWhitespaceAndNewlines(groupName).empty() && !groupIn(store.groups())) {
        throw std::invalid_argument("No group is named \u201c" + groupName + "\u201d.");
    }
    auto snippet = toSnippet(store.groups(), settings, now);
    const auto id = snippet.id;
    store.add(std::move(snippet));
    return id;
}

ContentType contentTypeNamed(std::string_view name) {
    const auto type = enumFromRaw<ContentType>(name);
    if (!type || *type == ContentType::image || *type == ContentType::richText) {
        throw std::invalid_argument("Unknown content type \u201c" + std::string(name) +
                                    "\u201d: use plainText, markdown, code or javaScript.");
    }
    return *type;
}

}  // namespace wordloom
