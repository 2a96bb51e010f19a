#include "core/macros/CharacterView.h"

#include <cstdint>
#include <cstring>

#include <unicode/uchar.h>
#include <unicode/utf8.h>

#include "core/base/Text.h"

namespace wordloom {
namespace {

std::size_t countCarriageReturnLineFeeds(std::string_view text) {
    std::size_t pairs = 0;
    for (std::size_t at = text.find('\r'); at != std::string_view::npos;
         at = text.find('\r', at + 1)) {
        if (at + 1 < text.size() && text[at + 1] == '\n') {
            ++pairs;
        }
    }
    return pairs;
}

// Malformed bytes read as U+FFFD, which joins nothing, as in ICU's segmentation.
UChar32 codePointBefore(std::string_view text, std::size_t offset) {
    int32_t i = static_cast<int32_t>(offset);
    UChar32 c = 0;
    U8_PREV(reinterpret_cast<const uint8_t*>(text.data()), 0, i, c);
    return c < 0 ? 0xFFFD : c;
}

UChar32 codePointAt(std::string_view text, std::size_t offset) {
    int32_t i = static_cast<int32_t>(offset);
    UChar32 c = 0;
    U8_NEXT(reinterpret_cast<const uint8_t*>(text.data()), i, static_cast<int32_t>(text.size()), c);
    return c < 0 ? 0xFFFD : c;
}

int graphemeClass(UChar32 c) {
    return u_getIntPropertyValue(c, UCHAR_GRAPHEME_CLUSTER_BREAK);
}

}  // namespace

namespace characters {

// An ASCII character other than CR and LF is never an emoji, a regional indicator or a Hangul
// syllable, so only two rules can join it to a neighbour: a prepended mark before it, or an
// extending or spacing mark (or ZWJ) after it. Controls, CR and LF join nothing.
bool isStandaloneNearNonAscii(std::string_view text, std::size_t offset) {
    const auto c = static_cast<unsigned char>(text[offset]);
    if (c < 0x20 || c == 0x7F) {
        if (c == '\n' && offset > 0 && text[offset - 1] == '\r') {
            return false;
        }
        return !(c == '\r' && offset + 1 < text.size() && text[offset + 1] == '\n');
    }
    if (offset > 0 && graphemeClass(codePointBefore(text, offset)) == U_GCB_PREPEND) {
        return false;
    }
    if (offset + 1 < text.size()) {
        switch (graphemeClass(codePointAt(text, offset + 1))) {
            case U_GCB_EXTEND:
            case U_GCB_ZWJ:
            case U_GCB_SPACING_MARK:
                return false;
            default:
                break;
        }
    }
    return true;
}

ByteSurvey surveyBytes(std::string_view text, char counted) {
    // Thirty-two bytes a round, watching for non-ASCII bytes, carriage returns and the counted
    // byte together. A lane's tally takes at most two a round, so it is added up every 127 rounds
    // before it can overflow.
    using Bytes = unsigned char __attribute__((vector_size(16)));
    constexpr std::size_t round = 2 * sizeof(Bytes);
    const char* bytes = text.data();
    const std::size_t size = text.size();
    Bytes seen{};
    Bytes carriageReturns{};
    std::size_t occurrences = 0;
    std::size_t i = 0;
    while (i + round <= size) {
        Bytes tally{};
        for (int rounds = 0; rounds < 127 && i + round <= size; ++rounds, i += round) {
            Bytes low;
            Bytes high;
            std::memcpy(&low, bytes + i, sizeof(Bytes));
            std::memcpy(&high, bytes + i + sizeof(Bytes), sizeof(Bytes));
            seen |= low | high;
            carriageReturns |= reinterpret_cast<Bytes>((low == '\r') | (high == '\r'));
            tally -= reinterpret_cast<Bytes>(low == static_cast<unsigned char>(counted));
            tally -= reinterpret_cast<Bytes>(high == static_cast<unsigned char>(counted));
        }
        for (std::size_t lane = 0; lane < sizeof(Bytes); ++lane) {
            occurrences += tally[lane];
        }
    }
    bool nonAscii = false;
    bool carriageReturn = false;
    for (std::size_t lane = 0; lane < sizeof(Bytes); ++lane) {
        nonAscii = nonAscii || seen[lane] >= 0x80;
        carriageReturn = carriageReturn || carriageReturns[lane] != 0;
    }
    for (; i < size; ++i) {
        nonAscii = nonAscii || static_cast<unsigned char>(bytes[i]) >= 0x80;
        carriageReturn = carriageReturn || bytes[i] == '\r';
        occurrences += bytes[i] == counted ? 1 : 0;
    }
    return ByteSurvey{!nonAscii && (!carriageReturn || countCarriageReturnLineFeeds(text) == 0),
                      occurrences};
}

std::size_t count(std::string_view text) {
    if (text::isAscii(text)) {
        return text.size() - countCarriageReturnLineFeeds(text);
    }
    return text::characterCount(text);
}

}  // namespace characters

CharacterView::CharacterView(std::string_view text) : text_(text) {
    if (text::isAscii(text) && countCarriageReturnLineFeeds(text) == 0) {
        count_ = text.size();
        return;
    }
    boundaries_ = text::characterBoundaries(text);
    count_ = boundaries_.size() - 1;
}

std::size_t CharacterView::find(char c, std::size_t from) const {
    if (boundaries_.empty()) {
        std::size_t found = text_.find(c, from);
        return found == std::string_view::npos ? count_ : found;
    }
    for (std::size_t i = from; i < count_; ++i) {
        if (is(i, c)) {
            return i;
        }
    }
    return count_;
}

}  // namespace wordloom
