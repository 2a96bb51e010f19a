#include "helpers/jsrunner/JSString.h"

#include <vector>

namespace wordloom::jsrunner {

JSString::JSString(std::string_view utf8) {
    // The engine's constructor wants a terminated C string, and scripts may contain NUL.
    std::vector<JSChar> units;
    units.reserve(utf8.size());
    std::size_t i = 0;
    while (i < utf8.size()) {
        const auto lead = static_cast<unsigned char>(utf8[i]);
        char32_t codePoint = 0xFFFD;
        std::size_t length = 1;
        if (lead < 0x80) {
            codePoint = lead;
        } else if ((lead >> 5) == 0x6) {
            length = 2;
        } else if ((lead >> 4) == 0xE) {
            length = 3;
        } else if ((lead >> 3) == 0x1E) {
            length = 4;
        }
        if (length > 1) {
            if (i + length > utf8.size()) {
                length = 1;
            } else {
                codePoint = lead & (0x7F >> length);
                for (std::size_t k = 1; k < length; ++k) {
                    const auto next = static_cast<unsigned char>(utf8[i + k]);
                    if ((next & 0xC0) != 0x80) {
                        codePoint = 0xFFFD;
                        length = k;
                        break;
                    }
                    codePoint = (codePoint << 6) | (next & 0x3F);
                }
            }
        }
        if (codePoint >= 0x10000 && codePoint <= 0x10FFFF) {
            codePoint -= 0x10000;
            units.push_back(static_cast<JSChar>(0xD800 + (codePoint >> 10)));
            units.push_back(static_cast<JSChar>(0xDC00 + (codePoint & 0x3FF)));
        } else {
            units.push_back(static_cast<JSChar>(codePoint > 0x10FFFF ? 0xFFFD : codePoint));
        }
        i += length;
    }
    string_ = JSStringCreateWithCharacters(units.data(), units.size());
}

JSString::~JSString() {
    if (string_ != nullptr) {
        JSStringRelease(string_);
    }
}

std::string JSString::utf8() const {
    if (string_ == nullptr) {
        return {};
    }
    const std::size_t capacity = JSStringGetMaximumUTF8CStringSize(string_);
    std::string out(capacity, '\0');
    const std::size_t written = JSStringGetUTF8CString(string_, out.data(), capacity);
    out.resize(written > 0 ? written - 1 : 0);  // drop the terminator
    return out;
}

std::string toUtf8(JSContextRef context, JSValueRef value) {
    JSValueRef exception = nullptr;
    JSStringRef string = JSValueToStringCopy(context, value, &exception);
    if (string == nullptr || exception != nullptr) {
        if (string != nullptr) {
            JSStringRelease(string);
        }
        return {};
    }
    return JSString::adopt(string).utf8();
}

}  // namespace wordloom::jsrunner
