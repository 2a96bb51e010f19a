#include "core/macros/MacroParser.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>
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
// bodies that are not scripts. Jumps from brace to brace, taking the opening braces before each
// closing one together: only closing braces decide anything.
std::optional<std::size_t> findClosingPairInText(std::string_view content, std::size_t from,
                                                 bool everyByteIsACharacter) {
    auto standalone = [&](std::size_t at) {
        return everyByteIsACharacter || isStandalone(content, at);
    };
    const char* const bytes = content.data();
    const std::size_t n = content.size();
    std::size_t depth = 0;
    std::size_t j = from;
    while (j < n) {
        const auto* found = static_cast<const char*>(std::memchr(bytes + j, '}', n - j));
        if (found == nullptr) {
            return std::nullopt;
        }
        const auto closing = static_cast<std::size_t>(found - bytes);
        for (const char* opening =
                 static_cast<const char*>(std::memchr(bytes + j, '{', closing - j));
             opening != nullptr;
             opening = static_cast<const char*>(
                 std::memchr(opening + 1, '{', static_cast<std::size_t>(found - opening - 1)))) {
            if (standalone(static_cast<std::size_t>(opening - bytes))) {
                ++depth;
            }
        }
        if (standalone(closing)) {
            if (depth == 0 && closing + 1 < n && bytes[closing + 1] == '}' &&
                standalone(closing + 1)) {
                return closing;
            }
            if (depth > 0) {
                --depth;
            }
        }
        j = closing + 1;
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

// Sorted by length, so that a word is only compared with the few names of its own length.
constexpr std::pair<std::string_view, Keyword> keywordNames[] = {
    {"if", Keyword::conditionalIf},
    {"ai", Keyword::ai},
    {"js", Keyword::javascript},
    {"now", Keyword::now},
    {"/if", Keyword::conditionalEnd},
    {"key", Keyword::key},
    {"date", Keyword::date},
    {"time", Keyword::time},
    {"uuid", Keyword::uuid},
    {"elif", Keyword::conditionalElseIf},
    {"else", Keyword::conditionalElse},
    {"today", Keyword::today},
    {"input", Keyword::input},
    {"endif", Keyword::conditionalEnd},
    {"cursor", Keyword::cursor},
    {"select", Keyword::select},
    {"elseif", Keyword::conditionalElseIf},
    {"random", Keyword::random},
    {"snippet", Keyword::snippet},
    {"tomorrow", Keyword::tomorrow},
    {"selected", Keyword::selectedText},
    {"textarea", Keyword::textarea},
    {"optional", Keyword::optional},
    {"yesterday", Keyword::yesterday},
    {"clipboard", Keyword::clipboard},
    {"selection", Keyword::selectedText},
    {"/optional", Keyword::optionalEnd},
    {"javascript", Keyword::javascript},
    {"selected-text", Keyword::selectedText},
};

constexpr std::size_t longestKeyword = std::size(keywordNames) > 0
                                           ? std::end(keywordNames)[-1].first.size()
                                           : 0;

static_assert(std::is_sorted(std::begin(keywordNames), std::end(keywordNames),
                             [](const auto& a, const auto& b) {
                                 return a.first.size() < b.first.size();
                             }));

// firstOfLength[k] is the index of the first name at least k bytes long.
constexpr auto firstOfLength = [] {
    std::array<std::size_t, longestKeyword + 2> first{};
    std::size_t entry = 0;
    for (std::size_t length = 0; length < first.size(); ++length) {
        while (entry < std::size(keywordNames) && keywordNames[entry].first.size() < length) {
            ++entry;
        }
        first[length] = entry;
    }
    return first;
}();

// Whether `text` spells the lower-case `name` in any ASCII case.
bool spellsIgnoringCase(std::string_view text, std::string_view name) {
    for (std::size_t i = 0; i < name.size(); ++i) {
        const char c = text[i];
        const char expected = name[i];
        if (c != expected && !(expected >= 'a' && expected <= 'z' && (c | 0x20) == expected)) {
            return false;
        }
    }
    return true;
}

std::optional<Keyword> keywordSpelled(std::string_view text) {
    if (text.size() > longestKeyword) {
        return std::nullopt;
    }
    for (std::size_t k = firstOfLength[text.size()]; k < firstOfLength[text.size() + 1]; ++k) {
        if (spellsIgnoringCase(text, keywordNames[k].first)) {
            return keywordNames[k].second;
        }
    }
    return std::nullopt;
}

// Keywords match in any case. Text outside ASCII is lower-cased the Unicode way first, so that
// a Kelvin sign still spells "key".
std::optional<Keyword> keywordNamed(std::string_view text) {
    if (auto keyword = keywordSpelled(text)) {
        return keyword;
    }
    for (const char c : text) {
        if (static_cast<unsigned char>(c) >= 0x80) {
            return keywordSpelled(text::lowercased(text));
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
        if (auto type = parseInnerText(content.substr(bodyStart, *closing - bodyStart))) {
            const std::size_t startCharacter = charactersBefore(i);
            const std::size_t endCharacter = charactersBefore(end);
            if (macros.empty()) {
                macros.reserve(survey.occurrences / 2);
            }
            macros.emplace_back(std::move(*type), TextRange{startCharacter, endCharacter},
                                std::string(content.substr(i, end - i)), TextRange{i, end});
        }
        i = end;
    }
    return macros;
}

}  // namespace wordloom
