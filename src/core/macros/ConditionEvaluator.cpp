#include "core/macros/ConditionEvaluator.h"

#include <unicode/regex.h>
#include <unicode/unistr.h>

#include <array>
#include <charconv>
#include <cmath>
#include <vector>

#include "core/base/Text.h"

namespace wordloom {
namespace {

// ICU's regex time limit counts in steps of roughly a millisecond of matching; a condition must
// never hang an expansion on a pathological pattern.
constexpr int32_t regexTimeLimit = 50;

std::string asciiLowercased(std::string_view text) {
    std::string lower(text);
    for (char& c : lower) {
        if (c >= 'A' && c <= 'Z') {
            c = static_cast<char>(c - 'A' + 'a');
        }
    }
    return lower;
}

// Splits at every occurrence of any separator, scanning left to right. Word separators match
// exactly as written.
std::vector<std::string_view> splitAtAny(std::string_view text,
                                         std::initializer_list<std::string_view> separators) {
    std::vector<std::string_view> parts;
    std::size_t start = 0;
    std::size_t i = 0;
    while (i < text.size()) {
        bool split = false;
        for (std::string_view separator : separators) {
            if (text.compare(i, separator.size(), separator) == 0) {
                parts.push_back(text.substr(start, i - start));
                i += separator.size();
                start = i;
                split = true;
                break;
            }
        }
        if (!split) {
            ++i;
        }
    }
    parts.push_back(text.substr(start));
    return parts;
}

std::optional<double> asNumber(std::string_view text) {
    if (text.empty()) {
        return std::nullopt;
    }
    if (text.front() == '+') {
        text.remove_prefix(1);
    }
    double value = 0;
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || !std::isfinite(value)) {
        return std::nullopt;
    }
    return value;
}

int compareOrdered(std::string_view left, std::string_view right) {
    auto leftNumber = asNumber(left);
    auto rightNumber = asNumber(right);
    if (leftNumber && rightNumber) {
        return *leftNumber < *rightNumber ? -1 : (*leftNumber > *rightNumber ? 1 : 0);
    }
    // UTF-8 byte order is code point order.
    int order = left.compare(right);
    return order < 0 ? -1 : (order > 0 ? 1 : 0);
}

std::string_view withoutQuotes(std::string_view item) {
    if (item.size() >= 2 && (item.front() == '"' || item.front() == '\'') &&
        item.back() == item.front()) {
        return item.substr(1, item.size() - 2);
    }
    return item;
}

bool isInList(std::string_view value, std::string_view list) {
    if (list.size() >= 2 && list.front() == '[' && list.back() == ']') {
        list = list.substr(1, list.size() - 2);
    }
    for (std::string_view item : splitAtAny(list, {","})) {
        if (withoutQuotes(text::trimWhitespaceAndNewlines(item)) == value) {
            return true;
        }
    }
    return false;
}

ConditionEvaluator::Outcome matchesPattern(std::string_view subject, std::string_view pattern) {
    UErrorCode status = U_ZERO_ERROR;
    UParseError parseError;
    std::unique_ptr<icu::RegexPattern> compiled(icu::RegexPattern::compile(
        icu::UnicodeString::fromUTF8(icu::StringPiece(pattern.data(), pattern.size())), 0,
        parseError, status));
    if (U_FAILURE(status) || !compiled) {
        return {false, "Invalid pattern in condition: " + std::string(pattern) + "."};
    }
    icu::UnicodeString input =
        icu::UnicodeString::fromUTF8(icu::StringPiece(subject.data(), subject.size()));
    std::unique_ptr<icu::RegexMatcher> matcher(compiled->matcher(input, status));
    if (U_FAILURE(status) || !matcher) {
        return {false, "Invalid pattern in condition: " + std::string(pattern) + "."};
    }
    matcher->setTimeLimit(regexTimeLimit, status);
    bool found = matcher->find(status);
    if (U_FAILURE(status)) {
        return {false, "Pattern in condition took too long: " + std::string(pattern) + "."};
    }
    return {found, std::nullopt};
}

ConditionEvaluator::Outcome compare(std::string_view atom) {
    static constexpr std::array<std::string_view, 10> operators{"==", "!=", "~=", "~~", "=~",
                                                                ">=", "<=", "=",  ">",  "<"};
    for (std::string_view op : operators) {
        std::size_t at = atom.find(op);
        if (at == std::string_view::npos) {
            continue;
        }
        std::string_view left = text::trimWhitespaceAndNewlines(atom.substr(0, at));
        std::string_view right = text::trimWhitespaceAndNewlines(atom.substr(at + op.size()));
        if (op == "==" || op == "=") {
            return {left == right, std::nullopt};
        }
        if (op == "!=") {
            return {left != right, std::nullopt};
        }
        if (op == "~=" || op == "~~") {
            return {text::equalsIgnoringCase(left, right), std::nullopt};
        }
        if (op == "=~") {
            return matchesPattern(left, right);
        }
        int order = compareOrdered(left, right);
        if (op == ">=") {
            return {order >= 0, std::nullopt};
        }
        if (op == "<=") {
            return {order <= 0, std::nullopt};
        }
        return {op == ">" ? order > 0 : order < 0, std::nullopt};
    }
    std::string lower = asciiLowercased(atom);
    for (std::string_view word : {std::string_view(" in "), std::string_view(" contains ")}) {
        std::size_t at = lower.find(word);
        if (at == std::string::npos) {
            continue;
        }
        std::string_view left = text::trimWhitespaceAndNewlines(atom.substr(0, at));
        std::string_view right = text::trimWhitespaceAndNewlines(atom.substr(at + word.size()));
        if (word == " in ") {
            return {isInList(left, right), std::nullopt};
        }
        return {text::lowercased(left).find(text::lowercased(right)) != std::string::npos,
                std::nullopt};
    }
    return {ConditionEvaluator::isTrue(atom), std::nullopt};
}

}  // namespace

bool ConditionEvaluator::isTrue(std::string_view value) {
    std::string lower = text::lowercased(text::trimWhitespaceAndNewlines(value));
    return !(lower.empty() || lower == "false" || lower == "0" || lower == "no" || lower == "off");
}

ConditionEvaluator::Outcome ConditionEvaluator::evaluate(std::string_view condition) {
    Outcome outcome;
    for (std::string_view alternative : splitAtAny(condition, {"||", " OR "})) {
        bool all = true;
        for (std::string_view requirement : splitAtAny(alternative, {"&&", " AND "})) {
            Outcome part = compare(requirement);
            if (part.error && !outcome.error) {
                outcome.error = part.error;
            }
            if (!part.value) {
                all = false;
                break;
            }
        }
        if (all) {
            outcome.value = true;
            return outcome;
        }
    }
    return outcome;
}

}  // namespace wordloom
