#include "core/macros/CharacterView.h"

#include "core/base/Text.h"

namespace wordloom {
namespace {

bool everyByteIsACharacter(std::string_view text) {
    unsigned char previous = 0;
    for (unsigned char c : text) {
        if (c >= 0x80 || (c == '\n' && previous == '\r')) {
            return false;
        }
        previous = c;
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
