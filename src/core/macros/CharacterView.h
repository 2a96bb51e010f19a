#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

namespace wordloom {

/// UTF-8 text seen as user-perceived characters (grapheme clusters), with a fast path for text
/// in which every byte is a character (ASCII without CR LF), the common case of snippet content.
/// The view does not own the text.
class CharacterView {
  public:
    explicit CharacterView(std::string_view text);

    std::size_t size() const { return count_; }
    bool empty() const { return count_ == 0; }

    /// Whether character `index` is exactly the one ASCII character `c` (a brace followed by a
    /// combining mark is not a brace).
    bool is(std::size_t index, char c) const {
        if (boundaries_.empty()) {
            return text_[index] == c;
        }
        return boundaries_[index + 1] - boundaries_[index] == 1 && text_[boundaries_[index]] == c;
    }

    /// Byte offset where character `index` starts; byteOffset(size()) is the text's size.
    std::size_t byteOffset(std::size_t index) const {
        return boundaries_.empty() ? index : boundaries_[index];
    }

    std::string_view at(std::size_t index) const { return slice(index, index + 1); }

    /// Characters [from, to) as text.
    std::string_view slice(std::size_t from, std::size_t to) const {
        return text_.substr(byteOffset(from), byteOffset(to) - byteOffset(from));
    }

    /// Index of the first character at or after `from` that is exactly `c`, or size().
    std::size_t find(char c, std::size_t from = 0) const;

    /// Whether each byte is one character, so character indices equal byte offsets.
    bool isByteIndexed() const { return boundaries_.empty(); }

    std::string_view text() const { return text_; }

  private:
    std::string_view text_;
    std::vector<std::size_t> boundaries_;  // empty on the fast path
    std::size_t count_ = 0;
};

/// Byte-level scanning of UTF-8 text that still honours character boundaries, for scanners that
/// look for ASCII punctuation: a byte counts as the character it spells only when it is a whole
/// character of its own (a brace followed by a combining mark, or the LF of CR LF, is not).
/// Deciding that needs only the neighbouring bytes when they are ASCII, so plain text never pays
/// for character segmentation.
namespace characters {

bool isStandaloneNearNonAscii(std::string_view text, std::size_t offset);

/// Whether the ASCII byte at `offset` is a whole character.
inline bool isStandalone(std::string_view text, std::size_t offset) {
    const auto before = offset > 0 ? static_cast<unsigned char>(text[offset - 1]) : 0;
    const auto after = offset + 1 < text.size() ? static_cast<unsigned char>(text[offset + 1]) : 0;
    if (before < 0x80 && after < 0x80) {
        const char c = text[offset];
        return !(c == '\n' && before == '\r') && !(c == '\r' && after == '\n');
    }
    return isStandaloneNearNonAscii(text, offset);
}

/// Whether the character starting at byte `offset` is exactly the ASCII character `c`.
inline bool isCharacter(std::string_view text, std::size_t offset, char c) {
    return offset < text.size() && text[offset] == c && isStandalone(text, offset);
}

/// Byte offset of the first character at or after byte `from` that is exactly `c`, or npos.
inline std::size_t find(std::string_view text, char c, std::size_t from = 0) {
    for (std::size_t at = text.find(c, from); at != std::string_view::npos;
         at = text.find(c, at + 1)) {
        if (isStandalone(text, at)) {
            return at;
        }
    }
    return std::string_view::npos;
}

/// What one pass over a text tells a scanner before it starts.
struct ByteSurvey {
    /// Each byte is one character (ASCII without CR LF), so byte offsets are character offsets
    /// and every ASCII byte stands alone.
    bool everyByteIsACharacter = true;
    /// How many bytes equal the counted one.
    std::size_t occurrences = 0;
};

ByteSurvey surveyBytes(std::string_view text, char counted);

/// Number of characters in `text`, which starts and ends on character boundaries.
std::size_t count(std::string_view text);

}  // namespace characters

}  // namespace wordloom
