#pragma once

#include <array>
#include <cstddef>
#include <cstring>
#include <ostream>
#include <string>
#include <string_view>

namespace wordloom {

/// An immutable text that keeps up to `inlineCapacity` bytes inside the object and only longer
/// text on the heap. Parsed macros carry their text as written, which is almost always short:
/// with this a parse allocates nothing per macro, where std::string keeps only 15 bytes inline.
class InlineText {
  public:
    static constexpr std::size_t inlineCapacity = 47;

    InlineText() = default;
    explicit InlineText(std::string_view text) { assign(text); }

    void assign(std::string_view text) {
        if (text.size() <= inlineCapacity) {
            heap_.clear();
            std::memcpy(inline_.data(), text.data(), text.size());
            inlineSize_ = static_cast<unsigned char>(text.size());
        } else {
            heap_.assign(text);
            inlineSize_ = 0;
        }
    }

    std::string_view view() const {
        return heap_.empty() ? std::string_view(inline_.data(), inlineSize_) : heap_;
    }
    operator std::string_view() const { return view(); }  // NOLINT: reads like a string
    std::string str() const { return std::string(view()); }

    std::size_t size() const { return view().size(); }
    bool empty() const { return view().empty(); }

    friend bool operator==(const InlineText& a, const InlineText& b) {
        return a.view() == b.view();
    }
    friend bool operator==(const InlineText& a, std::string_view b) { return a.view() == b; }
    friend std::ostream& operator<<(std::ostream& out, const InlineText& text) {
        return out << text.view();
    }

  private:
    // Rule of zero: copies and moves of both members are right as they are. The heap string is
    // empty whenever the text is inline.
    std::string heap_;
    std::array<char, inlineCapacity> inline_{};
    unsigned char inlineSize_ = 0;
};

}  // namespace wordloom
