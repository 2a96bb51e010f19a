#include "core/macros/MacroArguments.h"

#include <unicode/uchar.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <utility>

#include "core/base/Text.h"
#include "core/macros/CharacterView.h"

namespace wordloom::macro_arguments {
namespace {

bool containsEquals(std::string_view text) {
    return text.find('=') != std::string_view::npos;
}

// Code point at `offset`, advancing it; malformed bytes read as U+FFFD.
UChar32 nextCodePoint(std::string_view text, std::size_t& offset) {
    if (const auto byte = static_cast<unsigned char>(text[offset]); byte < 0x80) {
        ++offset;
        return byte;
    }
    int32_t i = static_cast<int32_t>(offset);
    UChar32 c = 0;
    U8_NEXT(reinterpret_cast<const uint8_t*>(text.data()), i, static_cast<int32_t>(text.size()), c);
    offset = static_cast<std::size_t>(i);
    return c < 0 ? 0xFFFD : c;
}

// What ICU's "." refuses and what its "$" may precede at the end of the input.
bool isLineTerminator(UChar32 c) {
    return (c >= 0x0A && c <= 0x0D) || c == 0x85 || c == 0x2028 || c == 0x2029;
}

// ICU's "$" without the multi-line flag: the end, or one final line terminator (CR LF counts
// as one).
bool matchesEndAnchor(std::string_view rest) {
    if (rest.empty() || rest == "\r\n") {
        return true;
    }
    std::size_t offset = 0;
    UChar32 c = nextCodePoint(rest, offset);
    return offset == rest.size() && isLineTerminator(c);
}

// ICU's "\s", which is Unicode's White_Space property (\v and U+0085 included).
bool isRegexSpace(UChar32 c) {
    return text::isWhitespaceOrNewline(static_cast<char32_t>(c));
}

// ICU's "\d": a code point of category Nd.
bool isRegexDigit(UChar32 c) {
    if (c < 0x80) {
        return c >= '0' && c <= '9';
    }
    return u_isdigit(c) != 0;
}

void skipRegexSpaces(std::string_view text, std::size_t& offset) {
    while (offset < text.size()) {
        std::size_t next = offset;
        if (!isRegexSpace(nextCodePoint(text, next))) {
            return;
        }
        offset = next;
    }
}

// ICU's "\d+": one or more code points of category Nd. Returns the matched bytes.
std::optional<std::string_view> matchDigits(std::string_view text, std::size_t& offset) {
    std::size_t start = offset;
    while (offset < text.size()) {
        std::size_t next = offset;
        if (!isRegexDigit(nextCodePoint(text, next))) {
            break;
        }
        offset = next;
    }
    if (offset == start) {
        return std::nullopt;
    }
    return text.substr(start, offset - start);
}

// "-?\d+" as a signed 64-bit number; digits outside ASCII or overflow give nothing.
std::optional<std::optional<std::int64_t>> matchSignedNumber(std::string_view text,
                                                             std::size_t& offset) {
    std::size_t start = offset;
    if (offset < text.size() && text[offset] == '-') {
        ++offset;
    }
    if (!matchDigits(text, offset)) {
        offset = start;
        return std::nullopt;
    }
    return parseInteger(text.substr(start, offset - start));
}

enum class KeptEscapes { none, commaAndBackslash };

// Reads `text` into `current`, calling `endPiece` at each unescaped `separator`. A backslash
// escapes the next character: "\n", "\t" and "\r" stand for a line feed, tab and carriage
// return, `kept` escapes stay as written, and any other escaped character stands for itself. A
// trailing lone backslash stays. The text is walked by bytes; only ASCII bytes that are whole
// characters act as backslashes or separators, and the rest of an escaped character is copied as
// it stands.
template <typename EndPiece>
void readEscaped(std::string_view text, char separator, KeptEscapes kept, std::string& current,
                 EndPiece endPiece) {
    const std::size_t n = text.size();
    std::size_t i = 0;
    while (i < n) {
        // Plain runs are copied whole.
        std::size_t special = i;
        while (special < n && text[special] != '\\' && text[special] != separator) {
            ++special;
        }
        current.append(text.substr(i, special - i));
        i = special;
        if (i == n) {
            break;
        }
        const char c = text[i];
        if (!characters::isStandalone(text, i)) {
            current += c;
        } else if (c == separator) {
            endPiece();
        } else if (i + 1 == n) {
            current += '\\';
        } else {
            ++i;
            const char escaped = text[i];
            const bool whole = characters::isStandalone(text, i);
            if (whole && escaped == 'n') {
                current += '\n';
            } else if (whole && escaped == 't') {
                current += '\t';
            } else if (whole && escaped == 'r') {
                current += '\r';
            } else {
                if (whole && kept == KeptEscapes::commaAndBackslash &&
                    (escaped == ',' || escaped == '\\')) {
                    current += '\\';
                }
                current += escaped;
            }
        }
        ++i;
    }
}

// Whether a key as written spells `lowerName` with ASCII capitals lower-cased.
bool spellsIgnoringAsciiCase(std::string_view key, std::string_view lowerName) {
    if (key.size() != lowerName.size()) {
        return false;
    }
    for (std::size_t i = 0; i < key.size(); ++i) {
        const char c = key[i];
        if (c != lowerName[i] && !(c >= 'A' && c <= 'Z' && (c | 0x20) == lowerName[i])) {
            return false;
        }
    }
    return true;
}

// Index of the name in `lowerNames` that `key` spells in any case, or nothing. Keys outside ASCII
// are lower-cased the Unicode way first.
template <std::size_t count>
std::optional<std::size_t> keyIndex(std::string_view key,
                                    const std::array<std::string_view, count>& lowerNames) {
    for (std::size_t i = 0; i < count; ++i) {
        if (spellsIgnoringAsciiCase(key, lowerNames[i])) {
            return i;
        }
    }
    if (text::isAscii(key)) {
        return std::nullopt;
    }
    const std::string lower = text::lowercased(key);
    for (std::size_t i = 0; i < count; ++i) {
        if (lower == lowerNames[i]) {
            return i;
        }
    }
    return std::nullopt;
}

// Calls `visit` with the key as written and the value of each "key=value" segment, in order, so
// that a later segment with the same key overrides an earlier one. The views point into
// `argument` or, when it holds escapes, into `unescaped`, and live as long as both.
template <typename Visit>
void forEachKeyValue(std::string_view argument, std::string& unescaped, Visit visit) {
    auto visitSegment = [&](std::string_view segment) {
        std::size_t equals = characters::find(segment, '=');
        if (equals != std::string::npos) {
            visit(segment.substr(0, equals), segment.substr(equals + 1));
        }
    };
    if (argument.find('\\') == std::string_view::npos) {
        // Without escapes the segments are the argument's own pieces.
        std::size_t start = 0;
        for (std::size_t colon = characters::find(argument, ':'); colon != std::string_view::npos;
             colon = characters::find(argument, ':', start)) {
            visitSegment(argument.substr(start, colon - start));
            start = colon + 1;
        }
        visitSegment(argument.substr(start));
        return;
    }
    // Each segment is unescaped into one buffer, and read once the buffer no longer grows.
    std::vector<std::size_t> ends;
    readEscaped(argument, ':', KeptEscapes::commaAndBackslash, unescaped,
                [&] { ends.push_back(unescaped.size()); });
    ends.push_back(unescaped.size());
    std::size_t start = 0;
    for (std::size_t end : ends) {
        visitSegment(std::string_view(unescaped).substr(start, end - start));
        start = end;
    }
}

// The values of the keys a field's argument may hold; a later segment with the same key replaces an
// earlier one. The values are views into the argument, or into this object's unescaped copy of it.
class SpecValues {
  public:
    std::optional<std::string_view> name;
    std::optional<std::string_view> defaultValue;
    std::optional<std::string_view> options;
    std::optional<std::string_view> width;
    std::optional<std::string_view> rows;
    std::optional<std::string_view> cols;

    explicit SpecValues(std::string_view argument) {
        forEachKeyValue(argument, unescaped_, [&](std::string_view key, std::string_view value) {
            if (auto* slot = slotFor(key)) {
                *slot = value;
            }
        });
    }

    SpecValues(const SpecValues&) = delete;
    SpecValues& operator=(const SpecValues&) = delete;

    std::optional<std::string> collapsedName() const {
        return name ? std::optional<std::string>(collapseDoubleBackslashes(*name)) : std::nullopt;
    }

    static std::optional<std::int64_t> integer(std::optional<std::string_view> value) {
        return value ? parseInteger(*value) : std::nullopt;
    }

  private:
    std::optional<std::string_view>* slotFor(std::string_view key) {
        static constexpr std::array<std::string_view, 6> keys{"name",  "default", "options",
                                                              "width", "rows",    "cols"};
        const std::array<std::optional<std::string_view>*, keys.size()> slots{
            &name, &defaultValue, &options, &width, &rows, &cols};
        const auto index = keyIndex(key, keys);
        return index ? slots[*index] : nullptr;
    }

    std::string unescaped_;
};

}  // namespace

std::vector<std::string> splitEscapedSegments(std::string_view argument) {
    std::vector<std::string> segments;
    std::string current;
    readEscaped(argument, ':', KeptEscapes::commaAndBackslash, current,
                [&] { segments.push_back(std::exchange(current, {})); });
    segments.push_back(std::move(current));
    return segments;
}

std::map<std::string, std::string> keyValueSegments(std::string_view argument) {
    std::map<std::string, std::string> values;
    std::string unescaped;
    forEachKeyValue(argument, unescaped, [&](std::string_view key, std::string_view value) {
        values[text::lowercased(key)] = std::string(value);
    });
    return values;
}

std::vector<std::string> splitOptionList(std::string_view list) {
    std::vector<std::string> options;
    if (list.empty()) {
        return options;
    }
    // Every option but the last ends at a comma, so the commas bound the count.
    options.reserve(static_cast<std::size_t>(std::count(list.begin(), list.end(), ',')) + 1);
    std::string current;
    auto finishOption = [&] {
        options.emplace_back(trimSpacesAndTabs(current));
        current.clear();
    };
    readEscaped(list, ',', KeptEscapes::none, current, finishOption);
    finishOption();
    return options;
}

std::string collapseDoubleBackslashes(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        result += text[i];
        if (text[i] == '\\' && i + 1 < text.size() && text[i + 1] == '\\') {
            ++i;
        }
    }
    return result;
}

std::string unescapeAll(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\\' && i + 1 < text.size() && characters::isStandalone(text, i)) {
            ++i;
        }
        result += text[i];
    }
    return result;
}

std::optional<std::int64_t> parseInteger(std::string_view text) {
    text = trimSpacesAndTabs(text);
    if (!text.empty() && text.front() == '+') {
        text.remove_prefix(1);
        if (!text.empty() && text.front() == '-') {
            return std::nullopt;
        }
    }
    std::int64_t value = 0;
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (text.empty() || error != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return value;
}

// Positional form: name, then everything after the first ":" as the default. Empty pieces are
// dropped, the way the macro's own keyword split drops them.
template <typename Field>
void readNameAndDefault(std::string_view argument, Field& field) {
    std::size_t start = 0;
    bool named = false;
    for (std::size_t i = characters::find(argument, ':'); i != std::string_view::npos;
         i = characters::find(argument, ':', i + 1)) {
        if (i > start) {
            field.name.emplace(argument.substr(start, i - start));
            start = i + 1;
            named = true;
            break;
        }
        start = i + 1;
    }
    if (start < argument.size()) {
        (named ? field.defaultValue : field.name).emplace(argument.substr(start));
    }
}

// The name and default of an input or a text area, positional or keyed; `readSizes` reads the
// keys only that kind of field has.
template <typename Field, typename ReadSizes>
Field parseFieldSpec(std::optional<std::string_view> argument, ReadSizes readSizes) {
    Field field;
    if (!argument) {
        return field;
    }
    if (!containsEquals(*argument)) {
        readNameAndDefault(*argument, field);
        return field;
    }
    SpecValues values(*argument);
    field.name = values.collapsedName();
    if (values.defaultValue) {
        field.defaultValue = collapseDoubleBackslashes(*values.defaultValue);
    }
    readSizes(field, values);
    return field;
}

macro::Input parseInputSpec(std::optional<std::string_view> argument) {
    return parseFieldSpec<macro::Input>(argument, [](macro::Input& input, const auto& values) {
        input.width = SpecValues::integer(values.width);
    });
}

macro::Textarea parseTextareaSpec(std::optional<std::string_view> argument) {
    return parseFieldSpec<macro::Textarea>(argument,
                                           [](macro::Textarea& textarea, const auto& values) {
                                               textarea.rows = SpecValues::integer(values.rows);
                                               textarea.cols = SpecValues::integer(values.cols);
                                           });
}

macro::Select parseSelectSpec(std::optional<std::string_view> argument) {
    macro::Select select;
    if (!argument) {
        return select;
    }
    if (!containsEquals(*argument)) {
        select.options = splitOptionList(*argument);
        return select;
    }
    SpecValues values(*argument);
    select.name = values.collapsedName();
    if (values.options) {
        select.options = splitOptionList(*values.options);
    }
    if (values.defaultValue) {
        select.defaultValue =
            std::string(trimSpacesAndTabs(collapseDoubleBackslashes(*values.defaultValue)));
    }
    return select;
}

macro::Optional parseSectionSpec(std::optional<std::string_view> argument) {
    macro::Optional section;
    if (!argument) {
        return section;
    }
    if (!containsEquals(*argument)) {
        section.name = std::string(*argument);
        return section;
    }
    SpecValues values(*argument);
    section.name = values.collapsedName();
    if (values.defaultValue) {
        section.defaultOn = text::lowercased(*values.defaultValue) == "yes";
    }
    return section;
}

std::optional<macro::AI> parseAISpec(std::string_view argument) {
    argument = text::trimWhitespaceAndNewlines(argument);
    if (argument.empty()) {
        return std::nullopt;
    }
    std::optional<std::string> prompt;
    std::optional<std::string> provider;
    std::optional<std::string> model;
    std::vector<std::string> kept;
    for (std::string& segment : splitEscapedSegments(argument)) {
        std::size_t equals = characters::find(segment, '=');
        if (equals != std::string::npos) {
            std::string key = text::lowercased(std::string_view(segment).substr(0, equals));
            std::string value = segment.substr(equals + 1);
            if (key == "prompt") {
                prompt = std::move(value);
                continue;
            }
            if (key == "provider") {
                provider = std::move(value);
                continue;
            }
            if (key == "model") {
                model = std::move(value);
                continue;
            }
        }
        kept.push_back(std::move(segment));
    }
    if (!prompt) {
        std::string joined;
        for (std::size_t i = 0; i < kept.size(); ++i) {
            if (i > 0) {
                joined += ':';
            }
            joined += kept[i];
        }
        prompt = std::move(joined);
    }
    auto cleaned = [](const std::optional<std::string>& raw) -> std::optional<std::string> {
        if (!raw) {
            return std::nullopt;
        }
        std::string value(text::trimWhitespaceAndNewlines(unescapeAll(*raw)));
        if (value.empty()) {
            return std::nullopt;
        }
        return value;
    };
    macro::AI ai;
    auto cleanedPrompt = cleaned(prompt);
    if (!cleanedPrompt) {
        return std::nullopt;
    }
    ai.prompt = std::move(*cleanedPrompt);
    ai.provider = cleaned(provider);
    ai.model = cleaned(model);
    return ai;
}

macro::Random parseRandomRange(std::optional<std::string_view> argument) {
    if (!argument) {
        return macro::Random{0, 100};
    }
    const macro::Random invalid{std::numeric_limits<std::int64_t>::max(),
                                std::numeric_limits<std::int64_t>::min()};
    std::string_view text = *argument;
    std::size_t offset = 0;
    skipRegexSpaces(text, offset);
    auto lower = matchSignedNumber(text, offset);
    if (!lower) {
        return invalid;
    }
    skipRegexSpaces(text, offset);
    if (offset >= text.size() || text[offset] != '-') {
        return invalid;
    }
    ++offset;
    skipRegexSpaces(text, offset);
    auto upper = matchSignedNumber(text, offset);
    if (!upper) {
        return invalid;
    }
    skipRegexSpaces(text, offset);
    if (!matchesEndAnchor(text.substr(offset)) || !*lower || !*upper) {
        return invalid;
    }
    return macro::Random{**lower, **upper};
}

std::optional<macro::Date> matchDateWithOffset(std::string_view text) {
    if (text.size() < 6 || text.substr(0, 4) != "date" || (text[4] != '+' && text[4] != '-')) {
        return std::nullopt;
    }
    bool negative = text[4] == '-';
    std::size_t offset = 5;
    auto digits = matchDigits(text, offset);
    if (!digits || offset >= text.size()) {
        return std::nullopt;
    }
    auto unit = enumFromRaw<DateOffsetUnit>(text.substr(offset, 1));
    if (!unit) {
        return std::nullopt;
    }
    ++offset;
    std::string_view rest = text.substr(offset);
    std::optional<std::string> format;
    if (!matchesEndAnchor(rest)) {
        if (rest.front() != ':') {
            return std::nullopt;
        }
        std::string_view candidate = rest.substr(1);
        std::size_t end = 0;
        while (end < candidate.size()) {
            std::size_t next = end;
            if (isLineTerminator(nextCodePoint(candidate, next))) {
                break;
            }
            end = next;
        }
        if (end == 0 || !matchesEndAnchor(candidate.substr(end))) {
            return std::nullopt;
        }
        format = std::string(candidate.substr(0, end));
    }
    auto value = parseInteger(*digits);
    if (!value || (*digits)[0] == '+' || (*digits)[0] == '-') {
        return std::nullopt;
    }
    return macro::Date{std::move(format), DateOffset{negative ? -*value : *value, *unit}};
}

}  // namespace wordloom::macro_arguments
