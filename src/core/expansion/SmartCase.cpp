#include "core/expansion/SmartCase.h"

#include <unicode/uchar.h>

#include "core/base/Text.h"
#include "core/macros/MacroParser.h"

namespace wordloom {

namespace {

std::u32string lettersOf(std::string_view text) {
    std::u32string letters;
    for (const char32_t codePoint : text::toCodePoints(text)) {
        if (u_isalpha(static_cast<UChar32>(codePoint))) {
            letters.push_back(codePoint);
        }
    }
    return letters;
}

bool isUpper(char32_t letter) {
    return u_isUUppercase(static_cast<UChar32>(letter));
}
bool isLower(char32_t letter) {
    return u_isULowercase(static_cast<UChar32>(letter));
}

// Upper-cases the first letter of `run` when `pending`; the flag then goes off for good.
std::string capitalizeFirstLetter(std::string_view run, bool& pending) {
    if (!pending) {
        return std::string(run);
    }
    std::string result;
    const auto characters = text::splitCharacters(run);
    for (const auto character : characters) {
        const auto codePoints = text::toCodePoints(character);
        if (pending && !codePoints.empty() && u_isalpha(static_cast<UChar32>(codePoints[0]))) {
            result += text::uppercased(character);
            pending = false;
        } else {
            result += character;
        }
    }
    return result;
}

}  // namespace

CasePattern casePattern(std::string_view typed, std::string_view stored) {
    if (typed == stored) {
        return CasePattern::none;
    }
    const auto typedLetters = lettersOf(typed);
    const auto storedLetters = lettersOf(stored);
    if (typedLetters.empty() || typedLetters.size() != storedLetters.size()) {
        return CasePattern::none;
    }
    for (const char32_t letter : storedLetters) {
        if (!isLower(letter)) {
            return CasePattern::none;
        }
    }
    bool allUpper = true;
    for (const char32_t letter : typedLetters) {
        allUpper = allUpper && isUpper(letter);
    }
    if (typedLetters.size() >= 2 && allUpper) {
        return CasePattern::allCaps;
    }
    if (isUpper(typedLetters[0])) {
        bool restLower = true;
        for (std::size_t i = 1; i < typedLetters.size(); ++i) {
            restLower = restLower && isLower(typedLetters[i]);
        }
        if (restLower) {
            return CasePattern::capitalized;
        }
    }
    return CasePattern::none;
}

std::string applyCasePattern(std::string_view content, CasePattern pattern) {
    if (pattern == CasePattern::none) {
        return std::string(content);
    }
    std::string result;
    bool capitalPending = true;
    std::size_t literalStart = 0;
    const auto transform = [&](std::string_view run) {
        result += pattern == CasePattern::allCaps ? text::uppercased(run)
                                                  : capitalizeFirstLetter(run, capitalPending);
    };
    for (const auto& macro : MacroParser::parse(content)) {
        if (macro.byteRange.start < literalStart) {
            continue;  // inside a macro already copied
        }
        transform(content.substr(literalStart, macro.byteRange.start - literalStart));
        result += content.substr(macro.byteRange.start, macro.byteRange.length());
        literalStart = macro.byteRange.end;
    }
    transform(content.substr(literalStart));
    return result;
}

}  // namespace wordloom
