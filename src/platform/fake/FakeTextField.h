#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace wordloom {

/// A focused text field as a target application would keep it: text and a caret, edited by
/// the keys and pastes a FakeKeyInjector delivers. Positions count user-perceived characters.
class FakeTextField {
  public:
    explicit FakeTextField(std::string_view text = "");

    void type(std::string_view text);
    void backspace();
    void forwardDelete();
    void moveLeft();
    void moveRight();
    void setCaret(std::size_t position);

    std::string text() const;
    std::size_t caret() const { return caret_; }

  private:
    std::vector<std::string> characters_;
    std::size_t caret_ = 0;
};

}  // namespace wordloom
