#include "platform/fake/FakeTextField.h"

#include "core/base/Text.h"

namespace wordloom {

FakeTextField::FakeTextField(std::string_view text) {
    type(text);
}

void FakeTextField::type(std::string_view text) {
    for (const auto character : text::splitCharacters(text)) {
        characters_.insert(characters_.begin() + static_cast<std::ptrdiff_t>(caret_),
                           std::string(character));
        ++caret_;
    }
}

void FakeTextField::backspace() {
    if (caret_ > 0) {
        characters_.erase(characters_.begin() + static_cast<std::ptrdiff_t>(caret_ - 1));
        --caret_;
    }
}

void FakeTextField::forwardDelete() {
    if (caret_ < characters_.size()) {
        characters_.erase(characters_.begin() + static_cast<std::ptrdiff_t>(caret_));
    }
}

void FakeTextField::moveLeft() {
    if (caret_ > 0) {
        --caret_;
    }
}

void FakeTextField::moveRight() {
    if (caret_ < characters_.size()) {
        ++caret_;
    }
}

void FakeTextField::setCaret(std::size_t position) {
    caret_ = position < characters_.size() ? position : characters_.size();
}

std::string FakeTextField::text() const {
    std::string result;
    for (const auto& character : characters_) {
        result += character;
    }
    return result;
}

}  // namespace wordloom
