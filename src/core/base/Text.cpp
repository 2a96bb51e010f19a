#include "core/base/Text.h"

#include <unicode/brkiter.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/utext.h>
#include <unicode/utf8.h>

#include <cstdint>
#include <cstring>
#include <memory>

namespace wordloom::text {
namespace {

icu::BreakIterator& characterIterator() {
    thread_local std::unique_ptr<icu::BreakIterator> iterator = [] {
        UErrorCode status = U_ZERO_ERROR;
        std::unique_ptr<icu::BreakIterator> created(
            icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
        if (U_FAILURE(status) || !created) {
            throw std::runtime_error("ICU could not create a character break iterator");
        }
        return created;
    }();
    return *iterator;
}

template <typename Visit>
void forEachBoundary(std::string_view text, Visit visit) {
    if (isAscii(text)) {
        for (std::size_t i = 0; i < text.size(); ++i) {
            visit(i);
            if (text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n') {
                ++i;
            }
        }
        visit(text.size());
        return;
    }
    UErrorCode status = U_ZERO_ERROR;
    UText* utext = utext_openUTF8(nullptr, text.data(), static_cast<int64_t>(text.size()), &status);
    auto& iterator = characterIterator();
    iterator.setText(utext, status);
    for (int32_t boundary = iterator.first(); boundary != icu::BreakIterator::DONE;
         boundary = iterator.next()) {
        visit(static_cast<std::size_t>(boundary));
    }
    utext_close(utext);
}

char32_t decodeAt(std::string_view text, std::size_t& offset) {
    int32_t i = static_cast<int32_t>(offset);
    UChar32 c = 0;
    U8_NEXT(reinterpret_cast<const uint8_t*>(text.data()), i, static_cast<int32_t>(text.size()), c);
    offset = static_cast<std::size_t>(i);
    return c < 0 ? U'\uFFFD' : static_cast<char32_t>(c);
}

}  // namespace

// Eight bytes at a time: snippet texts are checked on every expansion.
bool isAscii(std::string_view text) {
    const char* bytes = text.data();
    const std::size_t size = text.size();
    std::uint64_t seen = 0;
    std::size_t i = 0;
    for (; i + 8 <= size; i += 8) {
        std::uint64_t word = 0;
        std::memcpy(&word, bytes + i, 8);
        seen |= word;
    }
    for (; i < size; ++i) {
        seen |= static_cast<unsigned char>(bytes[i]);
    }
    return (seen & 0x8080808080808080ULL) == 0;
}

std::vector<std::size_t> characterBoundaries(std::string_view text) {
    std::vector<std::size_t> boundaries;
    boundaries.reserve(text.size() + 1);
    forEachBoundary(text, [&](std::size_t offset) { boundaries.push_back(offset); });
    if (boundaries.empty()) {
        boundaries.push_back(0);
    }
    return boundaries;
}

std::vector<std::string_view> splitCharacters(std::string_view text) {
    std::vector<std::string_view> characters;
    characters.reserve(text.size());
    std::size_t previous = 0;
    bool first = true;
    forEachBoundary(text, [&](std::size_t offset) {
        if (!first && offset > previous) {
            characters.push_back(text.substr(previous, offset - previous));
        }
        first = false;
        previous = offset;
    });
    return characters;
}

std::size_t characterCount(std::string_view text) {
    std::size_t count = 0;
    std::size_t previous = 0;
    forEachBoundary(text, [&](std::size_t offset) {
        if (offset > previous) {
            ++count;
        }
        previous = offset;
    });
    return count;
}

bool isWhitespaceOrNewline(char32_t codePoint) {
    // In ASCII, White_Space is the space and tab to carriage return; no need to ask ICU.
    if (codePoint < 0x80) {
        return codePoint == ' ' || (codePoint >= '\t' && codePoint <= '\r');
    }
    return u_isUWhiteSpace(static_cast<UChar32>(codePoint)) != 0;
}

std::string_view trimWhitespaceAndNewlines(std::string_view text) {
    std::size_t begin = 0;
    while (begin < text.size()) {
        std::size_t next = begin;
        if (!isWhitespaceOrNewline(decodeAt(text, next))) {
            break;
        }
        begin = next;
    }
    std::size_t end = text.size();
    while (end > begin) {
        int32_t i = static_cast<int32_t>(end);
        UChar32 c = 0;
        U8_PREV(reinterpret_cast<const uint8_t*>(text.data()), static_cast<int32_t>(begin), i, c);
        if (c < 0 || !isWhitespaceOrNewline(static_cast<char32_t>(c))) {
            break;
        }
        end = static_cast<std::size_t>(i);
    }
    return text.substr(begin, end - begin);
}

std::string_view trimSpacesAndTabs(std::string_view text) {
    const auto begin = text.find_first_not_of(" \t");
    if (begin == std::string_view::npos) {
        return {};
    }
    const auto end = text.find_last_not_of(" \t");
    return text.substr(begin, end - begin + 1);
}

bool containsControlCharacter(std::string_view text) {
    for (std::size_t offset = 0; offset < text.size();) {
        if (u_charType(static_cast<UChar32>(decodeAt(text, offset))) == U_CONTROL_CHAR) {
            return true;
        }
    }
    return false;
}

std::string lowercased(std::string_view text) {
    if (isAscii(text)) {
        std::string result(text);
        for (auto& c : result) {
            if (c >= 'A' && c <= 'Z') {
                c = static_cast<char>(c + ('a' - 'A'));
            }
        }
        return result;
    }
    std::string result;
    icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), static_cast<int32_t>(text.size())))
        .toLower(icu::Locale::getRoot())
        .toUTF8String(result);
    return result;
}

std::string uppercased(std::string_view text) {
    if (isAscii(text)) {
        std::string result(text);
        for (auto& c : result) {
            if (c >= 'a' && c <= 'z') {
                c = static_cast<char>(c - ('a' - 'A'));
            }
        }
        return result;
    }
    std::string result;
    icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), static_cast<int32_t>(text.size())))
        .toUpper(icu::Locale::getRoot())
        .toUTF8String(result);
    return result;
}

bool equalsIgnoringCase(std::string_view a, std::string_view b) {
    if (isAscii(a) && isAscii(b)) {
        if (a.size() != b.size()) {
            return false;
        }
        for (std::size_t i = 0; i < a.size(); ++i) {
            char x = a[i];
            char y = b[i];
            if (x >= 'A' && x <= 'Z') {
                x = static_cast<char>(x + 32);
            }
            if (y >= 'A' && y <= 'Z') {
                y = static_cast<char>(y + 32);
            }
            if (x != y) {
                return false;
            }
        }
        return true;
    }
    auto fold = [](std::string_view s) {
        return icu::UnicodeString::fromUTF8(
                   icu::StringPiece(s.data(), static_cast<int32_t>(s.size())))
            .foldCase(U_FOLD_CASE_DEFAULT);
    };
    return fold(a) == fold(b);
}

std::string debugQuoted(std::string_view text) {
    std::string out = "\"";
    for (std::size_t offset = 0; offset < text.size();) {
        const char32_t c = decodeAt(text, offset);
        switch (c) {
            case U'\0':
                out += "\\0";
                break;
            case U'\t':
                out += "\\t";
                break;
            case U'\n':
                out += "\\n";
                break;
            case U'\r':
                out += "\\r";
                break;
            case U'"':
                out += "\\\"";
                break;
            case U'\'':
                out += "\\'";
                break;
            case U'\\':
                out += "\\\\";
                break;
            default:
                if (u_charType(static_cast<UChar32>(c)) == U_CONTROL_CHAR) {
                    char buffer[16];
                    std::snprintf(buffer, sizeof buffer, "\\u{%x}", static_cast<unsigned>(c));
                    out += buffer;
                } else {
                    appendUtf8(out, c);
                }
        }
    }
    out += "\"";
    return out;
}

bool isValidUtf8(std::string_view text) {
    const auto* bytes = reinterpret_cast<const uint8_t*>(text.data());
    const auto length = static_cast<int32_t>(text.size());
    for (int32_t i = 0; i < length;) {
        UChar32 c = 0;
        U8_NEXT(bytes, i, length, c);
        if (c < 0) {
            return false;
        }
    }
    return true;
}

std::u32string toCodePoints(std::string_view text) {
    std::u32string result;
    result.reserve(text.size());
    for (std::size_t offset = 0; offset < text.size();) {
        result.push_back(decodeAt(text, offset));
    }
    return result;
}

void appendUtf8(std::string& out, char32_t codePoint) {
    char buffer[4];
    int32_t length = 0;
    UBool error = false;
    U8_APPEND(reinterpret_cast<uint8_t*>(buffer), length, 4, static_cast<UChar32>(codePoint),
              error);
    if (error) {
        out += "\xEF\xBF\xBD";
        return;
    }
    out.append(buffer, static_cast<std::size_t>(length));
}

}  // namespace wordloom::text
