#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace wordloom {

/// Streams JSON text. Pretty output indents by two spaces, as Wordloom's files are written.
/// Keys are written in the order given: callers that write records list their keys sorted.
class JsonWriter {
  public:
    explicit JsonWriter(bool pretty = true) : pretty_(pretty) {}

    void beginObject();
    void endObject();
    void beginArray();
    void endArray();
    void key(std::string_view name);

    void value(std::string_view text);
    void value(const char* text) { value(std::string_view(text)); }
    void value(bool flag);
    void value(std::int64_t number);
    void value(int number) { value(static_cast<std::int64_t>(number)); }
    void value(std::uint64_t number);
    void value(double number);
    void null();
    /// Writes `json`, already valid JSON text (compact), as the next value.
    void rawValue(std::string_view json);

    /// Convenience for a key and its value.
    template <typename T>
    void field(std::string_view name, const T& v) {
        key(name);
        value(v);
    }

    /// The text written so far; the writer is empty afterwards.
    std::string take();
    const std::string& text() const { return out_; }
    void reserve(std::size_t bytes) { out_.reserve(bytes); }

    /// `text` as a JSON string literal, quotes included.
    static std::string quoted(std::string_view text);

  private:
    void beforeValue();
    void newline();
    static void appendEscaped(std::string& out, std::string_view text);

    struct Level {
        bool isObject;
        bool empty = true;
    };
    bool pretty_;
    bool afterKey_ = false;
    std::string out_;
    std::vector<Level> levels_;
};

}  // namespace wordloom
