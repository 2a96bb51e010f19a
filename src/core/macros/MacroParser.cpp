#include "core/macros/MacroParser.h"

#include <string>
#include <utility>

#include "core/base/Text.h"
#include "core/macros/CharacterView.h"
#include "core/macros/MacroArguments.h"

namespace wordloom {
namespace {

namespace args = macro_arguments;

using characters::isCharacter;
using characters::isStandalone;

// How far after "{{" the scanner looks for "js:" or "javascript:".
constexpr std::size_t scriptKeywordLookahead = 11;

// Whether the characters at byte `from` spell `keyword` in any case, each a character of its own.
bool startsWithIgnoringCase(std::string_view content, std::size_t from, std::string_view keyword) {
    if (from + keyword.size() > content.size()) {
        return false;
    }
    for (std::size_t k = 0; k < keyword.size(); ++k) {
        char c = content[from + k];
        if (c >= 'A' && c <= 'Z') {
            c = static_cast<char>(c - 'A' + 'a');
        }
        if (c != keyword[k] || !isStandalone(content, from + k)) {
            return false;
        }
    }
    return true;
}

bool startsWithScriptKeyword(std::string_view content, std::size_t from) {
    static_assert(std::string_view("javascript:").size() <= scriptKeywordLookahead);
    return startsWithIgnoringCase(content, from, "js:") ||
           startsWithIgnoringCase(content, from, "javascript:");
}

// In script bodies quotes and comments hide braces. Returns the byte just past the literal or
// comment starting at byte `j`, or nothing when no literal or comment starts there. An escaped
// character is stepped over one byte at a time: the rest of a longer character can never be a
// quote of its own.
std::optional<std::size_t> skipScriptLiteral(std::string_view content, std::size_t j) {
    const std::size_t n = content.size();
    const char c = content[j];
    if (c == '"' || c == '\'' || c == '`') {
        if (!isStandalone(content, j)) {
            return std::nullopt;
        }
        for (++j; j < n; ++j) {
            if (isCharacter(content, j, '\\')) {
                ++j;
            } else if (isCharacter(content, j, c)) {
                return j + 1;
            }
        }
        return n;
    }
    if (c != '/' || !isStandalone(content, j)) {
        return std::nullopt;
    }
    if (isCharacter(content, j + 1, '/')) {
        j += 2;
        while (j < n && !isCharacter(content, j, '\n')) {
            ++j;
        }
        return j;
    }
    if (isCharacter(content, j + 1, '*')) {
        for (j += 2; j < n; ++j) {
            if (isCharacter(content, j, '*') && isCharacter(content, j + 1, '/')) {
                return j + 2;
            }
        }
        return n;
    }
    return std::nullopt;
}

// Byte offset of the first "}" of the pair that closes a macro whose body starts at `from`.
std::optional<std::size_t> findClosingPair(std::string_view content, std::size_t from,
                                           bool scriptMode) {
    const std::size_t n = content.size();
    std::size_t depth = 0;
    for (std::size_t j = from; j < n; ++j) {
        const char c = content[j];
        if (scriptMode) {
            if (auto past = skipScriptLiteral(content, j)) {
                j = *past - 1;
                continue;
            }
        }
        if (c == '{') {
            if (isStandalone(content, j)) {
                ++depth;
            }
        } else if (c == '}' && isStandalone(content, j)) {
            if (depth == 0 && isCharacter(content, j + 1, '}')) {
                return j;
            }
            if (depth > 0) {
                --depth;
            }
        }
    }
    return std::nullopt;
}

// Keywords are ASCII; a longer or non-ASCII keyword is lower-cased the Unicode way, so that a
// Kelvin sign still spells "key".
constexpr std::size_t longestAsciiKeyword = 16;

struct Keyword {
    char buffer[longestAsciiKeyword];
    std::string unicode;
    std::string_view text;
};

void lowercaseKeyword(std::string_view keyword, Keyword& out) {
    if (keyword.size() <= longestAsciiKeyword) {
        bool ascii = true;
        for (std::size_t i = 0; i < keyword.size(); ++i) {
            char c = keyword[i];
            ascii = ascii && static_cast<unsigned char>(c) < 0x80;
            out.buffer[i] = (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
        }
        if (ascii) {
            out.text = std::string_view(out.buffer, keyword.size());
            return;
        }
    }
    out.unicode = text::lowercased(keyword);
    out.text = out.unicode;
}

// Splits at the first ":" into at most two pieces, dropping empty pieces (so ":x" is one piece
// and "x:" has no second piece).
std::pair<std::string_view, std::optional<std::string_view>> splitKeyword(std::string_view text) {
    std::size_t start = 0;
    std::optional<std::string_view> first;
    for (std::size_t i = characters::find(text, ':'); i != std::string_view::npos;
         i = characters::find(text, ':', i + 1)) {
        if (i > start) {
            first = text.substr(start, i - start);
            start = i + 1;
            break;
        }
        start = i + 1;
    }
    std::optional<std::string_view> rest;
    if (start < text.size()) {
        rest = text.substr(start);
    }
    if (!first) {
        return {rest.value_or(std::string_view()), std::nullopt};
    }
    return {*first, rest};
}

std::optional<std::string> owned(std::optional<std::string_view> text) {
    return text ? std::optional<std::string>(*text) : std::nullopt;
}

std::optional<MacroType> macroForKeyword(std::string_view keyword,
                                         std::optional<std::string_view> argument) {
    const bool hasArgument = argument && !argument->empty();
    if (keyword == "date") {
        return macro::Date{owned(argument), std::nullopt};
    }
    if (keyword == "time") {
        return macro::Time{owned(argument)};
    }
    if (keyword == "today") {
        return macro::Today{owned(argument)};
    }
    if (keyword == "tomorrow") {
        return macro::Tomorrow{owned(argument)};
    }
    if (keyword == "yesterday") {
        return macro::Yesterday{owned(argument)};
    }
    if (keyword == "now") {
        return macro::Now{owned(argument)};
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
        return hasArgument ? std::optional<MacroType>(macro::ConditionalIf{std::string(*argument)})
                           : std::nullopt;
    }
    if (keyword == "elseif" || keyword == "elif") {
        return hasArgument
                   ? std::optional<MacroType>(macro::ConditionalElseIf{std::string(*argument)})
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
        return hasArgument ? std::optional<MacroType>(macro::Snippet{std::string(*argument)})
                           : std::nullopt;
    }
    if (keyword == "js" || keyword == "javascript") {
        return hasArgument ? std::optional<MacroType>(macro::JavaScript{std::string(*argument)})
                           : std::nullopt;
    }
    if (keyword == "random") {
        return args::parseRandomRange(argument);
    }
    return std::nullopt;
}

}  // namespace

std::optional<MacroType> MacroParser::parseInnerText(std::string_view innerText) {
    std::string_view trimmed = args::trimSpacesAndTabs(innerText);
    if (trimmed.empty()) {
        return std::nullopt;
    }
    if (auto dated = args::matchDateWithOffset(trimmed)) {
        return std::move(*dated);
    }
    auto [keywordPiece, argumentPiece] = splitKeyword(trimmed);
    Keyword keyword;
    lowercaseKeyword(args::trimSpacesAndTabs(keywordPiece), keyword);
    std::optional<std::string_view> argument;
    if (argumentPiece) {
        argument = args::trimSpacesAndTabs(*argumentPiece);
    }
    return macroForKeyword(keyword.text, argument);
}

std::vector<ParsedMacro> MacroParser::parse(std::string_view content) {
    std::vector<ParsedMacro> macros;
    const std::size_t n = content.size();
    // Byte offsets are character offsets in most content. Otherwise characters are counted from
    // one macro to the next, only where a range is reported.
    const bool byteIsCharacter = characters::isEveryByteACharacter(content);
    std::size_t countedBytes = 0;
    std::size_t countedCharacters = 0;
    auto charactersBefore = [&](std::size_t byte) {
        if (byteIsCharacter) {
            return byte;
        }
        countedCharacters += characters::count(content.substr(countedBytes, byte - countedBytes));
        countedBytes = byte;
        return countedCharacters;
    };
    std::size_t i = 0;
    while (i + 1 < n) {
        i = content.find('{', i);
        if (i == std::string_view::npos || i + 1 >= n) {
            break;
        }
        if (content[i + 1] != '{' || !isStandalone(content, i) || !isStandalone(content, i + 1)) {
            ++i;
            continue;
        }
        const std::size_t bodyStart = i + 2;
        auto closing =
            findClosingPair(content, bodyStart, startsWithScriptKeyword(content, bodyStart));
        if (!closing) {
            i += 2;
            continue;
        }
        const std::size_t end = *closing + 2;
        if (auto type = parseInnerText(content.substr(bodyStart, *closing - bodyStart))) {
            const std::size_t startCharacter = charactersBefore(i);
            const std::size_t endCharacter = charactersBefore(end);
            if (macros.empty()) {
                macros.reserve(16);
            }
            macros.push_back(ParsedMacro{std::move(*type),
                                         TextRange{startCharacter, endCharacter},
                                         std::string(content.substr(i, end - i)),
                                         {i, end}});
        }
        i = end;
    }
    return macros;
}

}  // namespace wordloom
