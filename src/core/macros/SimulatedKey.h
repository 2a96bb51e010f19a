#pragma once

#include <array>
#include <cstdint>

#include "core/base/EnumCoding.h"

namespace wordloom {

/// A key the inserter presses after the text, named by {{key:...}}.
enum class SimulatedKey {
    tab,
    return_,
    enter,
    escape,
    space,
    up,
    down,
    left,
    right,
    backspace,
    delete_
};

template <>
struct EnumNames<SimulatedKey> {
    static constexpr std::array names{"tab",  "return", "enter", "escape",    "space", "up",
                                      "down", "left",   "right", "backspace", "delete"};
};

/// The reference platform's virtual key code the key posts (enter and return share 36; delete is
/// the forward delete).
constexpr std::uint16_t virtualKeyCode(SimulatedKey key) {
    constexpr std::array<std::uint16_t, 11> codes{48, 36, 36, 53, 49, 126, 125, 123, 124, 51, 117};
    return codes[static_cast<std::size_t>(key)];
}

}  // namespace wordloom
