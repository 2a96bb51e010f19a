#include "core/base/Base64.h"

#include <sodium.h>

namespace wordloom {

std::string encodeBase64(const Bytes& bytes) {
    constexpr int variant = sodium_base64_VARIANT_ORIGINAL;
    std::string text(sodium_base64_ENCODED_LEN(bytes.size(), variant), '\0');
    sodium_bin2base64(text.data(), text.size(), bytes.data(), bytes.size(), variant);
    text.resize(text.size() - 1);  // the terminating NUL sodium writes
    return text;
}

std::optional<Bytes> decodeBase64(std::string_view text) {
    Bytes bytes(text.size() * 3 / 4 + 3);
    std::size_t length = 0;
    const char* end = nullptr;
    if (sodium_base642bin(bytes.data(), bytes.size(), text.data(), text.size(), " \t\r\n", &length,
                          &end, sodium_base64_VARIANT_ORIGINAL) != 0 ||
        end != text.data() + text.size()) {
        return std::nullopt;
    }
    bytes.resize(length);
    return bytes;
}

}  // namespace wordloom
