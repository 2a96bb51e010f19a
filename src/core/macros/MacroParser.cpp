#include "core/macros/MacroParser.h"

#include <string>
#include <utility>

#include "core/base/Text.h"
#include "core/macros/CharacterView.h"
#include "core/macros/MacroArguments.h"

namespace wordloom {
namespace {

namespace args = macro_arguments;

// How far after "{{" the scanner looks for "js:" or "javascript:".
constexpr std::size_t scriptKeywordLookahead = 11;

bool startsWithScriptKeyword(const CharacterView& characters, std::size_t from) {
    auto startsWith = [&](std::string_view keyword) {
        if (from + keyword.size() > characters.size()) {
            return false;
        }
        for (std::size_t k = 0; k < keyword.size(); ++k) {
            std::string_view character = characters.at(from + k);
            if (character.size() != 1) {
                return false;
            }
            char c = character[0];
            if (c >= 'A' && c <= 'Z') {
                c = static_cast<char>(c - 'A' + 'a');
            }
            if (c != keyword[k]) {
                return false;
            }
        }
        return true;
    };
    static_assert(std::string_view("javascript:").size() <= scriptKeywordLookahead);
    return startsWith("js:") || startsWith("javascript:");
}

// In script bodies quotes and comments hide braces. Returns the index just past the literal or
// comment starting at `j`, or nothing when no literal or comment starts there.
std::optional<std::size_t> skipScriptLiteral(const CharacterView& characters, std::size_t j) {
    const std::size_t n = characters.size();
    for (char quote : {'"', '\'', '`'}) {
        if (!characters.is(j, quote)) {
            continue;
        }
        ++j;
        while (j < n) {
            if (characters.is(j, '\\')) {
                j += 2;
                continue;
            }
            if (characters.is(j, quote)) {
                return j + 1;
            }
            ++j;
        }
        return n;
    }
    if (characters.is(j, '/') && j + 1 < n) {
        if (characters.is(j + 1, '/')) {
            j += 2;
            while (j < n && !characters.is(j, '\n')) {
                ++j;
            }
            return j;
        }
        if (characters.is(j + 1, '*')) {
            j += 2;
            while (j < n && !(characters.is(j, '*') && j + 1 < n && characters.is(j + 1, '/'))) {
                ++j;
            }
            return j < n ? j + 2 : n;
        }
    }
    return std::nullopt;
}

// Index of the first "}" of the pair that closes a macro whose body starts at `from`.
std::optional<std::size_t> findClosingPair(const CharacterView& characters, std::size_t from,
                                           bool scriptMode) {
    const std::size_t n = characters.size();
    std::size_t depth = 0;
    std::size_t j = from;
    while (j < n) {
        if (scriptMode) {
            if (auto past = skipScriptLiteral(characters, j)) {
                j = *past;
                continue;
            }
        }
        if (characters.is(j, '{')) {
            ++depth;
        } else if (characters.is(j, '}')) {
            if (depth == 0 && j + 1 < n && characters.is(j + 1, '}')) {
                return j;
            }
            if (depth > 0) {
                --depth;
            }
        }
        ++j;
    }
    return std::nullopt;
}

std::string lowercasedKeyword(std::string_view keyword) {
    for (unsigned char c : keyword) {
        if (c >= 0x80) {
            return text::lowercased(keyword);
        }
    }
    std::string lower(keyword);
    for (char& c : lower) {
        if (c >= 'A' && c <= 'Z') {
            c = static_cast<char>(c - 'A' + 'a');
        }
    }
    return lower;
}

// Splits at the first ":" into at most two pieces, dropping empty pieces (so ":x" is one piece
// and "x:" has no second piece).
std::pair<std::string_view, std::optional<std::string_view>> splitKeyword(std::string_view text) {
    CharacterView characters(text);
    std::size_t start = 0;
    std::optional<std::string_view> first;
    for (std::size_t i = characters.find(':'); i < characters.size();
         i = characters.find(':', i + 1)) {
        if (i > start) {
            first = characters.slice(start, i);
            start = i + 1;
            break;
        }
        start = i + 1;
    }
    std::optional<std::string_view> rest;
    if (start < characters.size()) {
        rest = characters.slice(start, characters.size());
    }
    if (!first) {
        return {rest.value_or(std::string_view()), std::nullopt};
    }
    return {*first, rest};
}

std::optional<MacroType> macroForKeyword(std::string_view keyword,
                                         const std::optional<std::string>& argument) {
    const bool hasArgument = argument && !argument->empty();
    if (keyword == "date") {
        return macro::Date{argument, std::nullopt};
    }
    if (keyword == "time") {
        return macro::Time{argument};
    }
    if (keyword == "today") {
        return macro::Today{argument};
    }
    if (keyword == "tomorrow") {
        return macro::Tomorrow{argument};
    }
    if (keyword == "yesterday") {
        return macro::Yesterday{argument};
    }
    if (keyword == "now") {
        return macro::Now{argument};
    }
    if (keyword == "clipboard") {
        return macro::Clipboard{};
    }
    if (keyword == "selected" || keyword == "selection" || keyword == "selected-text") {
        return macro::SelectedText{};
    }
    if (keyword == "cursor") {
        return macro::Cursor{};
    }
    if (keyword == "uuid") {
        return macro::Uuid{};
    }
    if (keyword == "input") {
        return args::parseInputSpec(argument);
    }
    if (keyword == "textarea") {
        return args::parseTextareaSpec(argument);
    }
    if (keyword == "select") {
        return args::parseSelectSpec(argument);
    }
    if (keyword == "optional") {
        return args::parseSectionSpec(argument);
    }
    if (keyword == "/optional") {
        return macro::OptionalEnd{};
    }
    if (keyword == "if") {
        return hasArgument ? std::optional<MacroType>(macro::ConditionalIf{*argument})
                           : std::nullopt;
    }
    if (keyword == "elseif" || keyword == "elif") {
        return hasArgument ? std::optional<MacroType>(macro::ConditionalElseIf{*argument})
                           : std::nullopt;
    }
    if (keyword == "else") {
        return macro::ConditionalElse{};
    }
    if (keyword == "/if" || keyword == "endif") {
        return macro::ConditionalEnd{};
    }
    if (keyword == "ai") {
        if (!hasArgument) {
            return std::nullopt;
        }
        auto ai = args::parseAISpec(*argument);
        return ai ? std::optional<MacroType>(std::move(*ai)) : std::nullopt;
    }
    if (keyword == "key") {
        return hasArgument ? std::optional<MacroType>(macro::Key{text::lowercased(*argument)})
                           : std::nullopt;
    }
    if (keyword == "snippet") {
        return hasArgument ? std::optional<MacroType>(macro::Snippet{*argument}) : std::nullopt;
    }
    if (keyword == "js" || keyword == "javascript") {
        return hasArgument ? std::optional<MacroType>(macro::JavaScript{*argument}) : std::nullopt;
    }
    if (keyword == "random") {
        return args::parseRandomRange(argument);
    }
    return std::nullopt;
}

}  // namespace

std::optional<MacroType> MacroParser::parseInnerText(std::string_view innerText) {
    std::string_view trimmed = text::trimSpacesAndTabs(innerText);
    if (trimmed.empty()) {
        return std::nullopt;
    }
    if (auto dated = args::matchDateWithOffset(trimmed)) {
        return std::move(*dated);
    }
    auto [keywordPiece, argumentPiece] = splitKeyword(trimmed);
    std::string keyword = lowercasedKeyword(text::trimSpacesAndTabs(keywordPiece));
    std::optional<std::string> argument;
    if (argumentPiece) {
        argument = std::string(text::trimSpacesAndTabs(*argumentPiece));
    }
    return macroForKeyword(keyword, argument);
}

std::vector<ParsedMacro> MacroParser::parse(std::string_view content) {
    std::vector<ParsedMacro> macros;
    if (content.size() < 2) {
        return macros;
    }
    CharacterView characters(content);
    const std::size_t n = characters.size();
    macros.reserve(16);
    std::size_t i = 0;
    while (i + 1 < n) {
        i = characters.find('{', i);
        if (i + 1 >= n) {
            break;
        }
        if (!characters.is(i + 1, '{') || i + 3 >= n) {
            ++i;
            continue;
        }
        bool scriptMode = startsWithScriptKeyword(characters, i + 2);
        auto closing = findClosingPair(characters, i + 2, scriptMode);
        if (!closing) {
            i += 2;
            continue;
        }
        const std::size_t end = *closing + 2;
        if (auto type = parseInnerText(characters.slice(i + 2, *closing))) {
            macros.push_back(ParsedMacro{std::move(*type),
                                         TextRange{i, end},
                                         std::string(characters.slice(i, end)),
                                         {characters.byteOffset(i), characters.byteOffset(end)}});
        }
        i = end;
    }
    return macros;
}

}  // namespace wordloom
