#include "core/library/SnippetEditCheck.h"

#include <unicode/regex.h>

#include <exception>
#include <memory>

#include "core/library/SnippetStore.h"

namespace wordloom {

bool isValidAbbreviationPattern(std::string_view pattern) {
    UErrorCode status = U_ZERO_ERROR;
    UParseError parseError;
    const std::unique_ptr<icu::RegexPattern> compiled(
        icu::RegexPattern::compile(icu::UnicodeString::fromUTF8(icu::StringPiece(
                                       pattern.data(), static_cast<int32_t>(pattern.size()))),
                                   0, parseError, status));
    return U_SUCCESS(status) && compiled;
}

SnippetEditVerdict checkSnippetEdit(const SnippetStore& store, const Snippet& edited) {
    SnippetEditVerdict verdict;
    if (!isValidAbbreviation(edited.abbreviation)) {
        verdict.error = invalidAbbreviationMessage(edited.abbreviation);
        return verdict;
    }
    if (edited.matchType == AbbreviationMatchType::regex &&
        !isValidAbbreviationPattern(edited.abbreviation)) {
        verdict.error = "The abbreviation \u201c" + edited.abbreviation +
                        "\u201d is not a valid regular expression.";
        return verdict;
    }
    if (edited.contentType == ContentType::image && !edited.imageData && !edited.imageFileName) {
        verdict.error = "An image snippet needs its picture: drop, paste or choose one.";
        return verdict;
    }
    const auto conflict = store.checkConflict(edited.abbreviation, edited.id);
    if (conflict.kind == ConflictCheckResult::Kind::noConflict) {
        return verdict;
    }
    const Snippet* saved = store.snippet(edited.id);
    const bool heldBefore = saved && saved->abbreviation == edited.abbreviation;
    if (conflict.kind == ConflictCheckResult::Kind::exactMatch && !heldBefore) {
        verdict.error = conflict.message().value_or("");
    } else {
        verdict.warning = conflict.message().value_or("");
    }
    return verdict;
}

SnippetEditVerdict saveSnippetEdit(SnippetStore& store, const Snippet& edited) {
    auto verdict = checkSnippetEdit(store, edited);
    if (!verdict.allowsSaving()) {
        return verdict;
    }
    try {
        if (store.snippet(edited.id)) {
            store.update(edited);
        } else {
            store.add(edited);
        }
    } catch (const std::exception& error) {
        verdict.error = error.what();
    }
    return verdict;
}

}  // namespace wordloom
