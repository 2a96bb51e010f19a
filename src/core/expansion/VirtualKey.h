#pragma once

#include <cstdint>

namespace wordloom {

/// Keys are named by the reference platform's virtual key codes everywhere in the core (stored
/// shortcuts use them too); each platform adapter translates them to its own key symbols.
using VirtualKeyCode = std::uint16_t;

namespace virtualKey {
inline constexpr VirtualKeyCode v = 9;
inline constexpr VirtualKeyCode returnKey = 36;
inline constexpr VirtualKeyCode tab = 48;
inline constexpr VirtualKeyCode space = 49;
inline constexpr VirtualKeyCode backspace = 51;
inline constexpr VirtualKeyCode escape = 53;
inline constexpr VirtualKeyCode keypadEnter = 76;
inline constexpr VirtualKeyCode forwardDelete = 117;
inline constexpr VirtualKeyCode left = 123;
inline constexpr VirtualKeyCode right = 124;
inline constexpr VirtualKeyCode down = 125;
inline constexpr VirtualKeyCode up = 126;
}  // namespace virtualKey

}  // namespace wordloom
