#include "core/macros/CharacterView.h"

#include <cstdint>
#include <cstring>

#include "core/base/Text.h"

namespace wordloom {
namespace {

// ASCII without CR LF: each byte is one character. Eight bytes at a time, since every parse
// starts with this test over the whole content.
bool everyByteIsACharacter(std::string_view text) {
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
    if ((seen & 0x8080808080808080ULL) != 0) {
        return false;
    }
    for (const void* found = std::memchr(bytes, '\r', size); found != nullptr;) {
        std::size_t at = static_cast<const char*>(found) - bytes;
        if (at + 1 < size && bytes[at + 1] == '\n') {
            return false;
        }
        found = at + 1 < size ? std::memchr(bytes + at + 1, '\r', size - at - 1) : nullptr;
    }
    return true;
}

}  // namespace

CharacterView::CharacterView(std::string_view text) : text_(text) {
    if (everyByteIsACharacter(text)) {
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
