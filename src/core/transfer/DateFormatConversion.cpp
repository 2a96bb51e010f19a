#include "core/transfer/DateFormatConversion.h"

#include <array>
#include <limits>
#include <utility>

namespace wordloom {
namespace {

bool isAsciiLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

// Codes after "%" (a "-" or "1" before the letter means "no padding").
std::optional<std::string_view> patternForCode(char code, bool unpadded) {
    struct Entry {
        char code;
        std::string_view padded;
        std::string_view plain;
    };
    static constexpr std::array<Entry, 22> table{{
        {'Y', "yyyy", "y"},
        {'y', "yy", "yy"},
        {'B', "MMMM", "MMMM"},
        {'b', "MMM", "MMM"},
        {'h', "MMM", "MMM"},
        {'m', "MM", "M"},
        {'d', "dd", "d"},
        {'e', "d", "d"},
        {'A', "EEEE", "EEEE"},
        {'a', "EEE", "EEE"},
        {'H', "HH", "H"},
        {'k', "H", "H"},
        {'I', "hh", "h"},
        {'l', "h", "h"},
        {'M', "mm", "m"},
        {'S', "ss", "s"},
        {'p', "a", "a"},
        {'Z', "zzz", "zzz"},
        {'z', "Z", "Z"},
        {'j', "DDD", "D"},
        {'F', "yyyy-MM-dd", "yyyy-MM-dd"},
        {'T', "HH:mm:ss", "HH:mm:ss"},
    }};
    for (const auto& entry : table) {
        if (entry.code == code) {
            return unpadded ? entry.plain : entry.padded;
        }
    }
    switch (code) {
        case 'R':
            return "HH:mm";
        case 'D':
            return "MM/dd/yy";
        case 'X':
            return "HH:mm:ss";
        case 'x':
            return "MM/dd/yy";
        case 'c':
            return "EEE MMM d HH:mm:ss yyyy";
        case 'u':
            return "e";
        default:
            return std::nullopt;
    }
}

}  // namespace

void appendQuotedPatternLiteral(std::string& pattern, std::string_view text) {
    std::size_t i = 0;
    while (i < text.size()) {
        if (text[i] == '\'') {
            pattern += "''";
            ++i;
            continue;
        }
        if (isAsciiLetter(text[i])) {
            pattern += '\'';
            while (i < text.size() && isAsciiLetter(text[i])) {
                pattern += text[i++];
            }
            pattern += '\'';
            continue;
        }
        pattern += text[i++];
    }
}

std::string strftimeToDatePattern(std::string_view format, std::set<std::string>& unsupported) {
    std::string pattern;
    std::string literal;
    auto flush = [&] {
        appendQuotedPatternLiteral(pattern, literal);
        literal.clear();
    };
    std::size_t i = 0;
    while (i < format.size()) {
        const char c = format[i];
        if (c != '%' || i + 1 >= format.size()) {
            literal += c;
            ++i;
            continue;
        }
        std::size_t j = i + 1;
        bool unpadded = false;
        if (format[j] == '-' || format[j] == '1' || format[j] == '_') {
            unpadded = true;
            ++j;
        }
        if (j >= format.size()) {
            literal.append(format.substr(i));
            break;
        }
        const char code = format[j];
        if (code == '%') {
            literal += '%';
        } else if (code == 'n') {
            literal += '\n';
        } else if (code == 't') {
            literal += '\t';
        } else if (const auto mapped = patternForCode(code, unpadded)) {
            flush();
            pattern += *mapped;
        } else {
            const auto written = std::string(format.substr(i, j + 1 - i));
            unsupported.insert(written);
            literal += written;
        }
        i = j + 1;
    }
    flush();
    return pattern;
}

std::optional<std::string> dateOffsetFromSeconds(std::int64_t seconds) {
    if (seconds == 0) {
        return std::string();
    }
    if (seconds == std::numeric_limits<std::int64_t>::min()) {
        return std::nullopt;
    }
    const std::string sign = seconds < 0 ? "-" : "+";
    const std::int64_t magnitude = seconds < 0 ? -seconds : seconds;
    if (magnitude % 86400 == 0) {
        return sign + std::to_string(magnitude / 86400) + "d";
    }
    if (magnitude % 3600 == 0) {
        return sign + std::to_string(magnitude / 3600) + "H";
    }
    if (magnitude % 60 == 0) {
        return sign + std::to_string(magnitude / 60) + "M";
    }
    return std::nullopt;
}

}  // namespace wordloom
