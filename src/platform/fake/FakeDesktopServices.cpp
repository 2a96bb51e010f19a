#include "platform/fake/FakeDesktopServices.h"

#include "core/base/Text.h"

namespace wordloom {

void FakeKeyboardMonitor::type(const std::string& text) {
    for (const auto character : text::splitCharacters(text)) {
        if (character == " ") {
            press(SpecialKey::space);
        } else if (character == "\n") {
            press(SpecialKey::returnKey);
        } else if (character == "\t") {
            press(SpecialKey::tab);
        } else {
            dispatch({std::nullopt, false, std::string(character)});
        }
    }
}

void FakeFillInFormPresenter::present(
    const std::string&, const std::vector<FillInField>& fields,
    std::function<void(std::optional<std::vector<FillInField>>)> done) {
    presented.push_back(fields);
    if (cancel) {
        done(std::nullopt);
        return;
    }
    auto filled = fields;
    for (auto& field : filled) {
        if (const auto found = answer.find(field.name); found != answer.end()) {
            field.value = found->second;
        } else if (field.value.empty()) {
            field.value = field.defaultValue;
        }
    }
    done(filled);
}

std::optional<Snippet> FakeExpansionLibrary::snippetWithAbbreviation(
    const std::string& abbreviation) {
    for (const auto& snippet : snippets) {
        if (snippet.abbreviation == abbreviation && !snippet.deletedAt) {
            return snippet;
        }
    }
    return std::nullopt;
}

ExpansionLibrary::SnippetLookup FakeExpansionLibrary::nestedSnippetLookup() {
    auto copy = std::make_shared<FakeExpansionLibrary>();
    copy->snippets = snippets;
    return [copy](const std::string& abbreviation) {
        return copy->snippetWithAbbreviation(abbreviation);
    };
}

std::optional<Bytes> FakeExpansionLibrary::imageData(const Snippet& snippet) {
    const auto found = images.find(snippet.id);
    if (found == images.end()) {
        return std::nullopt;
    }
    return found->second;
}

}  // namespace wordloom
