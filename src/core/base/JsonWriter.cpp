#include "core/base/JsonWriter.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <utility>

namespace wordloom {

void JsonWriter::newline() {
    out_.push_back('\n');
    out_.append(levels_.size() * 2, ' ');
}

void JsonWriter::beforeValue() {
    if (afterKey_) {
        afterKey_ = false;
        return;
    }
    if (!levels_.empty()) {
        if (!levels_.back().empty) {
            out_.push_back(',');
        }
        levels_.back().empty = false;
        if (pretty_) {
            newline();
        }
    }
}

void JsonWriter::beginObject() {
    beforeValue();
    out_.push_back('{');
    levels_.push_back(Level{true});
}

void JsonWriter::endObject() {
    const bool empty = levels_.back().empty;
    levels_.pop_back();
    if (pretty_ && !empty) {
        newline();
    }
    out_.push_back('}');
}

void JsonWriter::beginArray() {
    beforeValue();
    out_.push_back('[');
    levels_.push_back(Level{false});
}

void JsonWriter::endArray() {
    const bool empty = levels_.back().empty;
    levels_.pop_back();
    if (pretty_ && !empty) {
        newline();
    }
    out_.push_back(']');
}

void JsonWriter::key(std::string_view name) {
    beforeValue();
    appendEscaped(out_, name);
    out_.append(pretty_ ? " : " : ":");
    afterKey_ = true;
}

void JsonWriter::value(std::string_view text) {
    beforeValue();
    appendEscaped(out_, text);
}

void JsonWriter::value(bool flag) {
    beforeValue();
    out_.append(flag ? "true" : "false");
}

void JsonWriter::value(std::int64_t number) {
    beforeValue();
    char buffer[24];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, number);
    out_.append(buffer, result.ptr);
}

void JsonWriter::value(std::uint64_t number) {
    beforeValue();
    char buffer[24];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, number);
    out_.append(buffer, result.ptr);
}

void JsonWriter::value(double number) {
    if (!std::isfinite(number)) {
        null();  // JSON has no NaN or infinity
        return;
    }
    beforeValue();
    char buffer[32];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, number);
    out_.append(buffer, result.ptr);
}

void JsonWriter::null() {
    beforeValue();
    out_.append("null");
}

void JsonWriter::rawValue(std::string_view json) {
    beforeValue();
    out_.append(json);
}

std::string JsonWriter::take() {
    levels_.clear();
    afterKey_ = false;
    return std::exchange(out_, std::string());
}

std::string JsonWriter::quoted(std::string_view text) {
    std::string out;
    appendEscaped(out, text);
    return out;
}

namespace {

// Whether any of the eight bytes of `word` is a control byte (below 0x20), '"' or '\\': the
// bytes JSON strings must escape. The usual bit tricks for "some byte is zero / below n".
bool needsEscape(std::uint64_t word) {
    constexpr std::uint64_t ones = 0x0101010101010101ULL;
    constexpr std::uint64_t highs = 0x8080808080808080ULL;
    const std::uint64_t control = (word - ones * 0x20) & ~word;
    const std::uint64_t quote = word ^ (ones * '"');
    const std::uint64_t backslash = word ^ (ones * '\\');
    const std::uint64_t quoteZero = (quote - ones) & ~quote;
    const std::uint64_t backslashZero = (backslash - ones) & ~backslash;
    return ((control | quoteZero | backslashZero) & highs) != 0;
}

}  // namespace

void JsonWriter::appendEscaped(std::string& out, std::string_view text) {
    static constexpr char kHex[] = "0123456789abcdef";
    out.push_back('"');
    std::size_t runStart = 0;
    std::size_t i = 0;
    while (i < text.size()) {
        // Skip eight clean bytes at a time; snippet bodies are mostly plain text.
        if (i + 8 <= text.size()) {
            std::uint64_t word;
            std::memcpy(&word, text.data() + i, sizeof word);
            if (!needsEscape(word)) {
                i += 8;
                continue;
            }
        }
        const auto c = static_cast<unsigned char>(text[i]);
        if (c >= 0x20 && c != '"' && c != '\\') {
            ++i;
            continue;
        }
        out.append(text.data() + runStart, i - runStart);
        runStart = i + 1;
        switch (c) {
            case '"':
                out.append("\\\"");
                break;
            case '\\':
                out.append("\\\\");
                break;
            case '\n':
                out.append("\\n");
                break;
            case '\r':
                out.append("\\r");
                break;
            case '\t':
                out.append("\\t");
                break;
            case '\b':
                out.append("\\b");
                break;
            case '\f':
                out.append("\\f");
                break;
            default:
                out.append("\\u00");
                out.push_back(kHex[c >> 4]);
                out.push_back(kHex[c & 0x0F]);
        }
        ++i;
    }
    out.append(text.data() + runStart, text.size() - runStart);
    out.push_back('"');
}

}  // namespace wordloom
