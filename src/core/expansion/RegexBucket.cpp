#include "core/expansion/RegexBucket.h"

#include <algorithm>
#include <cctype>
#include <numeric>
#include <optional>

namespace wordloom {
namespace {

// `$` also matches before a final line terminator, so such an ending says nothing about the
// last atom.
bool isLineTerminator(char32_t c) {
    return c == U'\n' || c == U'\r' || c == 0x0B || c == 0x0C || c == 0x85 || c == 0x2028 ||
           c == 0x2029;
}

}  // namespace

// Which characters a text holds, coarsely: enough to rule out patterns whose first character
// appears nowhere in it.
class RegexBucket::TextSummary {
  public:
    explicit TextSummary(std::string_view text) {
        for (const char c : text) {
            const auto byte = static_cast<unsigned char>(c);
            if (byte >= 0x80) {
                nonAscii_ = true;
            } else {
                ascii_[lowerAscii(byte)] = true;
            }
        }
        for (char c = '0'; c <= '9'; ++c) {
            digit_ = digit_ || ascii_[static_cast<unsigned char>(c)];
        }
        word_ = digit_ || ascii_['_'];
        for (char c = 'a'; c <= 'z'; ++c) {
            word_ = word_ || ascii_[static_cast<unsigned char>(c)];
        }
    }

    // Case folding and Unicode digits reach beyond ASCII: any non-ASCII text may match.
    bool mayHoldLiteral(char lowered) const {
        return nonAscii_ || ascii_[static_cast<unsigned char>(lowered)];
    }
    bool mayHoldDigit() const { return nonAscii_ || digit_; }
    bool mayHoldWord() const { return nonAscii_ || word_; }

  private:
    static unsigned char lowerAscii(unsigned char c) {
        return (c >= 'A' && c <= 'Z') ? static_cast<unsigned char>(c + ('a' - 'A')) : c;
    }

    std::array<bool, 128> ascii_{};
    bool digit_ = false;
    bool word_ = false;
    bool nonAscii_ = false;
};

void RegexBucket::ByFirstCharacter::add(const RegexCharacterHint& first, std::uint32_t index) {
    switch (first.kind) {
        case RegexCharacterHint::Kind::literal: {
            const auto found = std::find_if(literal.begin(), literal.end(), [&](const auto& entry) {
                return entry.first == first.literal;
            });
            if (found == literal.end()) {
                literal.push_back({first.literal, {index}});
            } else {
                found->second.push_back(index);
            }
            return;
        }
        case RegexCharacterHint::Kind::digit:
            digit.push_back(index);
            return;
        case RegexCharacterHint::Kind::word:
            word.push_back(index);
            return;
        case RegexCharacterHint::Kind::any:
            any.push_back(index);
            return;
    }
}

void RegexBucket::ByFirstCharacter::appendPossible(const TextSummary& text,
                                                   std::vector<std::uint32_t>& out) const {
    const auto append = [&](const std::vector<std::uint32_t>& list) {
        out.insert(out.end(), list.begin(), list.end());
    };
    append(any);
    if (!digit.empty() && text.mayHoldDigit()) {
        append(digit);
    }
    if (!word.empty() && text.mayHoldWord()) {
        append(word);
    }
    for (const auto& [character, list] : literal) {
        if (text.mayHoldLiteral(character)) {
            append(list);
        }
    }
}

RegexBucket::RegexBucket(std::vector<SnippetRef> snippets, std::vector<RegexHints> hints)
    : snippets_(std::move(snippets)) {
    for (std::uint32_t i = 0; i < snippets_.size(); ++i) {
        const auto& [first, last] = hints[i];
        switch (last.kind) {
            case RegexCharacterHint::Kind::literal:
                endingWithLiteral_[static_cast<unsigned char>(last.literal)].add(first, i);
                break;
            case RegexCharacterHint::Kind::digit:
                endingWithDigit_.add(first, i);
                break;
            case RegexCharacterHint::Kind::word:
                endingWithWord_.add(first, i);
                break;
            case RegexCharacterHint::Kind::any:
                endingAnywhere_.add(first, i);
                break;
        }
    }
}

void RegexBucket::candidatesFor(std::string_view text, std::vector<std::uint32_t>& out) const {
    out.clear();
    if (snippets_.empty() || text.empty()) {
        return;
    }
    const auto lastByte = static_cast<unsigned char>(text.back());
    if (lastByte >= 0x80 || isLineTerminator(lastByte)) {
        // Non-ASCII endings are rare; try everything rather than reason about case folding.
        out.resize(snippets_.size());
        std::iota(out.begin(), out.end(), 0U);
        return;
    }
    const auto lower = (lastByte >= 'A' && lastByte <= 'Z') ? lastByte + ('a' - 'A') : lastByte;
    const bool digit = lower >= '0' && lower <= '9';
    const bool word = digit || (lower >= 'a' && lower <= 'z') || lower == '_';
    const ByFirstCharacter* lists[] = {&endingAnywhere_, &endingWithLiteral_[lower],
                                       digit ? &endingWithDigit_ : nullptr,
                                       word ? &endingWithWord_ : nullptr};
    std::optional<TextSummary> summary;
    for (const auto* list : lists) {
        if (list == nullptr || list->empty()) {
            continue;
        }
        if (!summary) {
            summary.emplace(text);
        }
        list->appendPossible(*summary, out);
    }
    std::sort(out.begin(), out.end());
}

}  // namespace wordloom
