#include "core/macros/MacroParser.h"

#include <string>
#include <utility>

#include "core/base/Text.h"
#include "core/macros/CharacterView.h"
#include "core/macros/MacroArguments.h"
#include "core/macros/MacroKeyword.h"

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
    if (from >= content.size() || (content[from] | 0x20) != 'j') {
        return false;
    }
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

// Byte offset of the first "}" of the pair that closes a macro whose body starts at `from`, for
// bodies that are not scripts. Bodies are short, so a plain loop beats a library search here.
std::optional<std::size_t> findClosingPairInText(std::string_view content, std::size_t from,
                                                 bool everyByteIsACharacter) {
    auto standalone = [&](std::size_t at) {
        return everyByteIsACharacter || isStandalone(content, at);
    };
    const std::size_t n = content.size();
    std::size_t depth = 0;
    for (std::size_t j = from; j < n; ++j) {
        const char c = content[j];
        if (c == '{') {
            depth += standalone(j) ? 1 : 0;
        } else if (c == '}' && standalone(j)) {
            if (depth == 0 && j + 1 < n && content[j + 1] == '}' && standalone(j + 1)) {
                return j;
            }
            depth -= depth > 0 ? 1 : 0;
        }
    }
    return std::nullopt;
}

// The same for script bodies, where quotes and comments hide braces.
std::optional<std::size_t> findClosingPairInScript(std::string_view content, std::size_t from) {
    const std::size_t n = content.size();
    std::size_t depth = 0;
    for (std::size_t j = from; j < n; ++j) {
        if (auto past = skipScriptLiteral(content, j)) {
            j = *past - 1;
            continue;
        }
        const char c = content[j];
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

// Puts the macro that `keyword` and `argument` spell into `type`; false when they spell none.
bool buildMacro(MacroKeyword keyword, std::optional<std::string_view> argument, MacroType& type) {
    const bool hasArgument = argument && !argument->empty();
    switch (keyword) {
        case MacroKeyword::date:
            type = macro::Date{owned(argument), std::nullopt};
            return true;
        case MacroKeyword::time:
            type = macro::Time{owned(argument)};
            return true;
        case MacroKeyword::today:
            type = macro::Today{owned(argument)};
            return true;
        case MacroKeyword::tomorrow:
            type = macro::Tomorrow{owned(argument)};
            return true;
        case MacroKeyword::yesterday:
            type = macro::Yesterday{owned(argument)};
            return true;
        case MacroKeyword::now:
            type = macro::Now{owned(argument)};
            return true;
        case MacroKeyword::clipboard:
            type = macro::Clipboard{};
            return true;
        case MacroKeyword::selectedText:
            type = macro::SelectedText{};
            return true;
        case MacroKeyword::cursor:
            type = macro::Cursor{};
            return true;
        case MacroKeyword::uuid:
            type = macro::Uuid{};
            return true;
        case MacroKeyword::input:
            type = args::parseInputSpec(argument);
            return true;
        case MacroKeyword::textarea:
            type = args::parseTextareaSpec(argument);
            return true;
        case MacroKeyword::select:
            type = args::parseSelectSpec(argument);
            return true;
        case MacroKeyword::optional:
            type = args::parseSectionSpec(argument);
            return true;
        case MacroKeyword::optionalEnd:
            type = macro::OptionalEnd{};
            return true;
        case MacroKeyword::conditionalIf:
            if (!hasArgument) {
                return false;
            }
            type = macro::ConditionalIf{std::string(*argument)};
            return true;
        case MacroKeyword::conditionalElseIf:
            if (!hasArgument) {
                return false;
            }
            type = macro::ConditionalElseIf{std::string(*argument)};
            return true;
        case MacroKeyword::conditionalElse:
            type = macro::ConditionalElse{};
            return true;
        case MacroKeyword::conditionalEnd:
            type = macro::ConditionalEnd{};
            return true;
        case MacroKeyword::ai:
            if (auto ai = hasArgument ? args::parseAISpec(*argument) : std::nullopt) {
                type = std::move(*ai);
                return true;
            }
            return false;
        case MacroKeyword::key:
            if (!hasArgument) {
                return false;
            }
            type = macro::Key{text::lowercased(*argument)};
            return true;
        case MacroKeyword::snippet:
            if (!hasArgument) {
                return false;
            }
            type = macro::Snippet{std::string(*argument)};
            return true;
        case MacroKeyword::javascript:
            if (!hasArgument) {
                return false;
            }
            type = macro::JavaScript{std::string(*argument)};
            return true;
        case MacroKeyword::random:
            type = args::parseRandomRange(argument);
            return true;
    }
    return false;
}

}  // namespace

namespace {

// Parses `innerText` into `type`, which is overwritten only when it spells a macro. Writing into
// the macro's final place saves moving the variant and destroying a temporary, whose calls through
// the variant's table mispredict from one macro kind to the next.
bool parseInnerTextInto(std::string_view innerText, MacroType& type) {
    std::string_view trimmed = args::trimSpacesAndTabs(innerText);
    if (trimmed.empty()) {
        return false;
    }
    if (auto dated = args::matchDateWithOffset(trimmed)) {
        type = std::move(*dated);
        return true;
    }
    auto [keywordPiece, argumentPiece] = splitKeyword(trimmed);
    auto keyword = macroKeywordNamed(args::trimSpacesAndTabs(keywordPiece));
    if (!keyword) {
        return false;
    }
    std::optional<std::string_view> argument;
    if (argumentPiece) {
        argument = args::trimSpacesAndTabs(*argumentPiece);
    }
    return buildMacro(*keyword, argument, type);
}

// Appends a record for a macro without arguments, built in its place rather than
// value-initialised, which would first clear the whole record (GCC does that with a slow-starting
// "rep stos"). Compilers without parenthesised aggregate initialisation build it beside and move
// it.
ParsedMacro& appendBlankMacro(std::vector<ParsedMacro>& macros) {
#if defined(__cpp_aggregate_paren_init)
    return macros.emplace_back(macro::Clipboard{}, TextRange{}, InlineText(), TextRange{});
#else
    return macros.emplace_back(
        ParsedMacro{macro::Clipboard{}, TextRange{}, InlineText(), TextRange{}});
#endif
}

}  // namespace

std::optional<MacroType> MacroParser::parseInnerText(std::string_view innerText) {
    MacroType type = macro::Clipboard{};
    if (!parseInnerTextInto(innerText, type)) {
        return std::nullopt;
    }
    return type;
}

std::vector<ParsedMacro> MacroParser::parse(std::string_view content) {
    std::vector<ParsedMacro> macros;
    const std::size_t n = content.size();
    // In most content every byte is a character: then byte offsets are character offsets and no
    // brace needs its neighbours checked. Otherwise characters are counted from one macro to the
    // next, only where a range is reported. Every macro starts with its own "{{", so half the
    // opening braces bound the number of macros.
    const auto survey = characters::surveyBytes(content, '{');
    const bool plain = survey.everyByteIsACharacter;
    auto standalone = [&](std::size_t at) { return plain || isStandalone(content, at); };
    std::size_t countedBytes = 0;
    std::size_t countedCharacters = 0;
    auto charactersBefore = [&](std::size_t byte) {
        if (plain) {
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
        if (content[i + 1] != '{' || !standalone(i) || !standalone(i + 1)) {
            ++i;
            continue;
        }
        const std::size_t bodyStart = i + 2;
        auto closing = startsWithScriptKeyword(content, bodyStart)
                           ? findClosingPairInScript(content, bodyStart)
                           : findClosingPairInText(content, bodyStart, plain);
        if (!closing) {
            i += 2;
            continue;
        }
        const std::size_t end = *closing + 2;
        if (macros.capacity() == 0) {
            macros.reserve(survey.occurrences / 2);
        }
        ParsedMacro& parsed = appendBlankMacro(macros);
        if (parseInnerTextInto(content.substr(bodyStart, *closing - bodyStart), parsed.type)) {
            parsed.range.start = charactersBefore(i);
            parsed.range.end = charactersBefore(end);
            parsed.originalText.assign(content.substr(i, end - i));
            parsed.byteRange = TextRange{i, end};
        } else {
            macros.pop_back();
        }
        i = end;
    }
    return macros;
}

}  // namespace wordloom
