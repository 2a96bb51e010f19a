#include "core/expansion/TypedBuffer.h"

#include <unicode/uchar.h>

#include "core/base/Text.h"

namespace wordloom {
namespace {

bool isAscii(std::string_view text) {
    for (const char c : text) {
        if (static_cast<unsigned char>(c) >= 0x80) {
            return false;
        }
    }
    return true;
}

}  // namespace

TypedBuffer::TypedBuffer(std::size_t capacity) : capacity_(capacity) {
    storage_.reserve(capacity * 8);
    starts_.reserve(capacity * 2);
}

void TypedBuffer::append(std::string_view text) {
    if (text.empty()) {
        return;
    }
    const bool lastIsAscii = empty() || static_cast<unsigned char>(storage_.back()) < 0x80;
    if (lastIsAscii && isAscii(text)) {
        // Between two ASCII characters there is always a boundary, except inside CR LF.
        for (const char c : text) {
            const bool joinsCarriageReturn = c == '\n' && !empty() && storage_.back() == '\r' &&
                                             starts_.back() == storage_.size() - 1;
            if (!joinsCarriageReturn) {
                starts_.push_back(storage_.size());
            }
            storage_.push_back(c);
        }
    } else {
        // The new text may merge into the last character; segmenting again from that
        // character's start is enough, since no cluster rule looks further back.
        std::size_t from = storage_.size();
        if (!empty()) {
            from = starts_.back();
            starts_.pop_back();
        }
        storage_.append(text);
        const auto boundaries = text::characterBoundaries(std::string_view(storage_).substr(from));
        for (std::size_t i = 0; i + 1 < boundaries.size(); ++i) {
            starts_.push_back(from + boundaries[i]);
        }
    }
    dropOverflow();
}

void TypedBuffer::dropOverflow() {
    if (characterCount() > capacity_) {
        head_ = starts_.size() - capacity_;
    }
    // Compact now and then rather than shifting bytes on every keystroke.
    if (head_ >= capacity_) {
        const auto firstByte = starts_[head_];
        storage_.erase(0, firstByte);
        starts_.erase(starts_.begin(), starts_.begin() + static_cast<std::ptrdiff_t>(head_));
        for (auto& start : starts_) {
            start -= firstByte;
        }
        head_ = 0;
    }
}

void TypedBuffer::removeLastCharacter() {
    if (empty()) {
        return;
    }
    storage_.resize(starts_.back());
    starts_.pop_back();
    if (empty()) {
        clear();
    }
}

void TypedBuffer::clear() {
    storage_.clear();
    starts_.clear();
    head_ = 0;
}

std::string_view TypedBuffer::text() const {
    if (empty()) {
        return {};
    }
    return std::string_view(storage_).substr(startOf(0));
}

std::string_view TypedBuffer::lastCharacters(std::size_t count) const {
    if (count == 0) {
        return {};
    }
    return std::string_view(storage_).substr(startOf(characterCount() - count));
}

std::string_view TypedBuffer::characterAt(std::size_t index) const {
    const auto begin = startOf(index);
    const auto end = index + 1 < characterCount() ? startOf(index + 1) : storage_.size();
    return std::string_view(storage_).substr(begin, end - begin);
}

bool isLetterOrNumber(std::string_view character) {
    if (character.empty()) {
        return false;
    }
    const auto first = static_cast<unsigned char>(character.front());
    if (first < 0x80) {
        return (first >= 'a' && first <= 'z') || (first >= 'A' && first <= 'Z') ||
               (first >= '0' && first <= '9');
    }
    const auto codePoint = static_cast<UChar32>(text::toCodePoints(character.substr(0, 4))[0]);
    return u_hasBinaryProperty(codePoint, UCHAR_ALPHABETIC) != 0 ||
           u_getIntPropertyValue(codePoint, UCHAR_NUMERIC_TYPE) != U_NT_NONE;
}

}  // namespace wordloom
