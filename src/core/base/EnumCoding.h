#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

namespace wordloom {

/// Specialise for each enumeration that is written by its raw string:
///   template <> struct EnumNames<Color> { static constexpr std::array names{"red", "green"}; };
/// The order of `names` is the order of the enumeration's cases, starting at 0.
template <typename E>
struct EnumNames;

template <typename E>
constexpr std::string_view rawValue(E value) {
    return EnumNames<E>::names[static_cast<std::size_t>(value)];
}

template <typename E>
constexpr std::optional<E> enumFromRaw(std::string_view raw) {
    const auto& names = EnumNames<E>::names;
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (names[i] == raw) {
            return static_cast<E>(i);
        }
    }
    return std::nullopt;
}

}  // namespace wordloom
