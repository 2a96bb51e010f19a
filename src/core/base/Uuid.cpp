#include "core/base/Uuid.h"

#include <sodium.h>

#include "core/base/HexDigit.h"

namespace wordloom {
Uuid Uuid::random() {
    static const int initialised = sodium_init();
    (void)initialised;
    std::array<std::uint8_t, 16> bytes{};
    randombytes_buf(bytes.data(), bytes.size());
    bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0F) | 0x40);  // version 4
    bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3F) | 0x80);  // RFC 4122 variant
    return Uuid(bytes);
}

std::optional<Uuid> Uuid::parse(std::string_view text) {
    if (text.size() != 36) {
        return std::nullopt;
    }
    std::array<std::uint8_t, 16> bytes{};
    std::size_t byteIndex = 0;
    for (std::size_t i = 0; i < text.size();) {
        if (i == 8 || i == 13 || i == 18 || i == 23) {
            if (text[i] != '-') {
                return std::nullopt;
            }
            ++i;
            continue;
        }
        const int high = hexDigitValue(text[i]);
        const int low = hexDigitValue(text[i + 1]);
        if (high < 0 || low < 0) {
            return std::nullopt;
        }
        bytes[byteIndex++] = static_cast<std::uint8_t>(high * 16 + low);
        i += 2;
    }
    return Uuid(bytes);
}

std::string Uuid::toString() const {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    std::string text;
    text.reserve(36);
    for (std::size_t i = 0; i < bytes_.size(); ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) {
            text.push_back('-');
        }
        text.push_back(kDigits[bytes_[i] >> 4]);
        text.push_back(kDigits[bytes_[i] & 0x0F]);
    }
    return text;
}

bool Uuid::isNil() const {
    for (auto byte : bytes_) {
        if (byte != 0) {
            return false;
        }
    }
    return true;
}

}  // namespace wordloom
