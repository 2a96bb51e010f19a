#include "core/expansion/RegexBucket.h"

#include <unicode/uchar.h>

#include <algorithm>
#include <numeric>

namespace wordloom {
namespace {

// `$` also matches before a final line terminator, so such an ending says nothing about the
// last atom.
bool isLineTerminator(char32_t c) {
    return c == U'\n' || c == U'\r' || c == 0x0B || c == 0x0C || c == 0x85 || c == 0x2028 ||
           c == 0x2029;
}

}  // namespace

RegexBucket::RegexBucket(std::vector<SnippetRef> snippets, const std::vector<RegexTailHint>& hints)
    : snippets_(std::move(snippets)) {
    for (std::uint32_t i = 0; i < snippets_.size(); ++i) {
        const auto& hint = hints[i];
        switch (hint.kind) {
            case RegexTailHint::Kind::any:
                unrestricted_.push_back(i);
                break;
            case RegexTailHint::Kind::literal:
                byAsciiLiteral_[static_cast<unsigned char>(hint.literal)].push_back(i);
                break;
            case RegexTailHint::Kind::digit:
                digit_.push_back(i);
                break;
            case RegexTailHint::Kind::word:
                word_.push_back(i);
                break;
        }
    }
}

void RegexBucket::candidatesEndingWith(char32_t lastCodePoint,
                                       std::vector<std::uint32_t>& out) const {
    out.clear();
    if (snippets_.empty()) {
        return;
    }
    if (lastCodePoint >= 0x80 || isLineTerminator(lastCodePoint)) {
        // Non-ASCII endings are rare; try everything rather than reason about case folding.
        out.resize(snippets_.size());
        std::iota(out.begin(), out.end(), 0U);
        return;
    }
    const auto append = [&](const std::vector<std::uint32_t>& list) {
        out.insert(out.end(), list.begin(), list.end());
    };
    append(unrestricted_);
    char lower = static_cast<char>(lastCodePoint);
    if (lower >= 'A' && lower <= 'Z') {
        lower = static_cast<char>(lower + ('a' - 'A'));
    }
    append(byAsciiLiteral_[static_cast<unsigned char>(lower)]);
    if (u_isdigit(static_cast<UChar32>(lastCodePoint)) != 0) {
        append(digit_);
    }
    if ((lastCodePoint >= '0' && lastCodePoint <= '9') || (lower >= 'a' && lower <= 'z') ||
        lastCodePoint == U'_') {
        append(word_);
    }
    std::sort(out.begin(), out.end());
}

}  // namespace wordloom
