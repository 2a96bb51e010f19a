#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace wordloom {

/// A 128-bit identifier. Written upper-case in the 8-4-4-4-12 form, read in any case.
class Uuid {
  public:
    Uuid() = default;  // the nil UUID
    explicit Uuid(const std::array<std::uint8_t, 16>& bytes) : bytes_(bytes) {}

    /// A new random (version 4) UUID.
    static Uuid random();
    static std::optional<Uuid> parse(std::string_view text);

    std::string toString() const;
    bool isNil() const;
    const std::array<std::uint8_t, 16>& bytes() const { return bytes_; }

    auto operator<=>(const Uuid&) const = default;

  private:
    std::array<std::uint8_t, 16> bytes_{};
};

}  // namespace wordloom

template <>
struct std::hash<wordloom::Uuid> {
    std::size_t operator()(const wordloom::Uuid& uuid) const noexcept {
        std::uint64_t a = 0;
        std::uint64_t b = 0;
        for (int i = 0; i < 8; ++i) {
            a = (a << 8) | uuid.bytes()[i];
            b = (b << 8) | uuid.bytes()[i + 8];
        }
        return static_cast<std::size_t>(a ^ (b * 0x9E3779B97F4A7C15ULL));
    }
};
