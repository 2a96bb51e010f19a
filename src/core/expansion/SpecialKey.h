#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace wordloom {

/// A key that does not type text for the detector: it edits, moves the caret or ends a word.
/// Any key pressed with Control, Alt/Option or Super/Command held also arrives as `escape`.
enum class SpecialKey {
    backspace,
    delete_,  ///< forward delete
    returnKey,
    tab,
    escape,
    space,
    arrowLeft,
    arrowRight,
    arrowUp,
    arrowDown,
};

/// The special key a virtual key code stands for (51 backspace, 117 delete, 36 and 76 return,
/// 48 tab, 53 escape, 49 space, 123/124/126/125 arrows), or nullopt.
std::optional<SpecialKey> specialKeyForKeyCode(std::uint16_t keyCode);

/// "backspace", "delete", "return", ...: for logs.
std::string_view specialKeyName(SpecialKey key);

}  // namespace wordloom
