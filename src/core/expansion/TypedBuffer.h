#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace wordloom {

/// A run of characters: `starts[i]` is where character i begins in `base`, and the last one
/// ends at `end`. Lets searches walk characters without splitting text into pieces.
struct CharacterRun {
    std::string_view base;
    std::span<const std::size_t> starts;
    std::size_t end = 0;

    std::size_t count() const { return starts.size(); }
    /// Characters [from, to).
    std::string_view characters(std::size_t from, std::size_t to) const {
        const auto stop = to < count() ? starts[to] : end;
        return base.substr(starts[from], stop - starts[from]);
    }
    std::string_view character(std::size_t index) const { return characters(index, index + 1); }
    /// The first `characters` characters.
    CharacterRun prefix(std::size_t characters) const {
        return {base, starts.first(characters), characters < count() ? starts[characters] : end};
    }
    std::string_view text() const {
        return count() == 0 ? std::string_view() : base.substr(starts[0], end - starts[0]);
    }
};

/// The rolling record of what the user just typed: at most `capacity` characters (grapheme
/// clusters), oldest dropped first. Character boundaries are kept as text arrives, so asking
/// for the last n characters never re-segments the buffer; plain ASCII never reaches ICU.
class TypedBuffer {
  public:
    explicit TypedBuffer(std::size_t capacity);

    /// Appends typed text. Text that continues the last character (a combining mark, the second
    /// half of a flag) merges with it, as it does on screen.
    void append(std::string_view text);
    /// Forgets the last character, as Backspace erases it.
    void removeLastCharacter();
    void clear();

    std::string_view text() const;
    std::size_t characterCount() const { return starts_.size() - head_; }
    bool empty() const { return characterCount() == 0; }
    std::size_t capacity() const { return capacity_; }

    /// The last `count` characters (count <= characterCount()).
    std::string_view lastCharacters(std::size_t count) const;
    /// The `index`-th kept character, counted from the oldest.
    std::string_view characterAt(std::size_t index) const;
    /// The kept characters, valid until the buffer changes.
    CharacterRun run() const {
        return {storage_, std::span<const std::size_t>(starts_).subspan(head_), storage_.size()};
    }

  private:
    std::size_t startOf(std::size_t index) const { return starts_[head_ + index]; }
    void dropOverflow();

    std::size_t capacity_;
    // Bytes of the kept characters, possibly preceded by dropped ones not compacted away yet.
    std::string storage_;
    // Where each character starts in storage_; entries before head_ are dropped characters.
    std::vector<std::size_t> starts_;
    std::size_t head_ = 0;
};

/// Whether `character` (one grapheme cluster) is a letter or a number: its first code point is
/// alphabetic or has a numeric value.
bool isLetterOrNumber(std::string_view character);

}  // namespace wordloom
