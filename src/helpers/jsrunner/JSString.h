#pragma once

#include <JavaScriptCore/JavaScript.h>

#include <string>
#include <string_view>

namespace wordloom::jsrunner {

/// Owns one JSStringRef.
class JSString {
  public:
    explicit JSString(std::string_view utf8);
    /// Takes over a string the engine handed out with a +1 reference (…Copy functions).
    static JSString adopt(JSStringRef string) { return JSString(string); }
    ~JSString();
    JSString(const JSString&) = delete;
    JSString& operator=(const JSString&) = delete;
    JSString(JSString&& other) noexcept : string_(other.string_) { other.string_ = nullptr; }

    JSStringRef get() const { return string_; }
    std::string utf8() const;

  private:
    explicit JSString(JSStringRef string) : string_(string) {}
    JSStringRef string_;
};

/// `value` converted to text the way String(value) does; empty if that throws.
std::string toUtf8(JSContextRef context, JSValueRef value);

}  // namespace wordloom::jsrunner
