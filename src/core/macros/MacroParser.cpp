#include "core/macros/MacroParser.h"

#include <cstring>
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

// Every macro starts with its own "{{", so half the opening braces bound the number of macros.
std::size_t mostMacrosIn(std::string_view content) {
    using Bytes = unsigned char __attribute__((vector_size(16)));
    std::size_t braces = 0;
    std::size_t i = 0;
    while (i + sizeof(Bytes) <= content.size()) {
        // A lane counts at most 255 braces before it is added up.
        Bytes counts{};
        for (int round = 0; round < 255 && i + sizeof(Bytes) <= content.size();
             ++round, i += sizeof(Bytes)) {
            Bytes chunk;
            std::memcpy(&chunk, content.data() + i, sizeof(Bytes));
            counts -= reinterpret_cast<Bytes>(chunk == '{');
        }
        for (std::size_t lane = 0; lane < sizeof(Bytes); ++lane) {
            braces += counts[lane];
        }
    }
    for (; i < content.size(); ++i) {
        braces += content[i] == '{' ? 1 : 0;
    }
    return braces / 2;
}

enum class Keyword {
    date,
    time,
    today,
    tomorrow,
    yesterday,
    now,
    clipboard,
    selectedText,
    cursor,
    uuid,
    input,
    textarea,
    select,
    optional,
    optionalEnd,
    conditionalIf,
    conditionalElseIf,
    conditionalElse,
    conditionalEnd,
    ai,
    key,
    snippet,
    javascript,
    random
};

constexpr std::pair<std::string_view, Keyword> keywordNames[] = {
    {"date", Keyword::date},
    {"time", Keyword::time},
    {"today", Keyword::today},
    {"tomorrow", Keyword::tomorrow},
    {"yesterday", Keyword::yesterday},
    {"now", Keyword::now},
    {"clipboard", Keyword::clipboard},
    {"selected", Keyword::selectedText},
    {"selection", Keyword::selectedText},
    {"selected-text", Keyword::selectedText},
    {"cursor", Keyword::cursor},
    {"uuid", Keyword::uuid},
    {"input", Keyword::input},
    {"textarea", Keyword::textarea},
    {"select", Keyword::select},
    {"optional", Keyword::optional},
    {"/optional", Keyword::optionalEnd},
    {"if", Keyword::conditionalIf},
    {"elseif", Keyword::conditionalElseIf},
    {"elif", Keyword::conditionalElseIf},
    {"else", Keyword::conditionalElse},
    {"/if", Keyword::conditionalEnd},
    {"endif", Keyword::conditionalEnd},
    {"ai", Keyword::ai},
    {"key", Keyword::key},
    {"snippet", Keyword::snippet},
    {"js", Keyword::javascript},
    {"javascript", Keyword::javascript},
    {"random", Keyword::random},
};

bool equalsIgnoringAsciiCase(std::string_view text, std::string_view lowerName) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        char c = text[i];
        if (c >= 'A' && c <= 'Z') {
            c = static_cast<char>(c - 'A' + 'a');
        }
        if (c != lowerName[i]) {
            return false;
        }
    }
    return true;
}

// Keywords match in any case. Text outside ASCII is lower-cased the Unicode way first, so that
// a Kelvin sign still spells "key".
std::optional<Keyword> keywordNamed(std::string_view text) {
    bool ascii = true;
    for (const auto& [name, keyword] : keywordNames) {
        if (name.size() == text.size() && equalsIgnoringAsciiCase(text, name)) {
            return keyword;
        }
    }
    for (unsigned char c : text) {
        ascii = ascii && c < 0x80;
    }
    if (ascii) {
        return std::nullopt;
    }
    const std::string lower = text::lowercased(text);
    for (const auto& [name, keyword] : keywordNames) {
        if (name == lower) {
            return keyword;
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

std::optional<MacroType> macroForKeyword(Keyword keyword,
                                         std::optional<std::string_view> argument) {
    const bool hasArgument = argument && !argument->empty();
    switch (keyword) {
        case Keyword::date:
            return macro::Date{owned(argument), std::nullopt};
        case Keyword::time:
            return macro::Time{owned(argument)};
        case Keyword::today:
            return macro::Today{owned(argument)};
        case Keyword::tomorrow:
            return macro::Tomorrow{owned(argument)};
        case Keyword::yesterday:
            return macro::Yesterday{owned(argument)};
        case Keyword::now:
            return macro::Now{owned(argument)};
        case Keyword::clipboard:
            return macro::Clipboard{};
        case Keyword::selectedText:
            return macro::SelectedText{};
        case Keyword::cursor:
            return macro::Cursor{};
        case Keyword::uuid:
            return macro::Uuid{};
        case Keyword::input:
            return args::parseInputSpec(argument);
        case Keyword::textarea:
            return args::parseTextareaSpec(argument);
        case Keyword::select:
            return args::parseSelectSpec(argument);
        case Keyword::optional:
            return args::parseSectionSpec(argument);
        case Keyword::optionalEnd:
            return macro::OptionalEnd{};
        case Keyword::conditionalIf:
            if (!hasArgument) {
                return std::nullopt;
            }
            return macro::ConditionalIf{std::string(*argument)};
        case Keyword::conditionalElseIf:
            if (!hasArgument) {
                return std::nullopt;
            }
            return macro::ConditionalElseIf{std::string(*argument)};
        case Keyword::conditionalElse:
            return macro::ConditionalElse{};
        case Keyword::conditionalEnd:
            return macro::ConditionalEnd{};
        case Keyword::ai:
            if (auto ai = hasArgument ? args::parseAISpec(*argument) : std::nullopt) {
                return std::move(*ai);
            }
            return std::nullopt;
        case Keyword::key:
            if (!hasArgument) {
                return std::nullopt;
            }
            return macro::Key{text::lowercased(*argument)};
        case Keyword::snippet:
            if (!hasArgument) {
                return std::nullopt;
            }
            return macro::Snippet{std::string(*argument)};
        case Keyword::javascript:
            if (!hasArgument) {
                return std::nullopt;
            }
            return macro::JavaScript{std::string(*argument)};
        case Keyword::random:
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
    auto keyword = keywordNamed(args::trimSpacesAndTabs(keywordPiece));
    if (!keyword) {
        return std::nullopt;
    }
    std::optional<std::string_view> argument;
    if (argumentPiece) {
        argument = args::trimSpacesAndTabs(*argumentPiece);
    }
    return macroForKeyword(*keyword, argument);
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
                macros.reserve(mostMacrosIn(content.substr(i)));
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
