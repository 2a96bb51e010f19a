#include "core/expansion/SpecialKey.h"

namespace wordloom {

std::optional<SpecialKey> specialKeyForKeyCode(std::uint16_t keyCode) {
    switch (keyCode) {
        case 51:
            return SpecialKey::backspace;
        case 117:
            return SpecialKey::delete_;
        case 36:
        case 76:
            return SpecialKey::returnKey;
        case 48:
            return SpecialKey::tab;
        case 53:
            return SpecialKey::escape;
        case 49:
            return SpecialKey::space;
        case 123:
            return SpecialKey::arrowLeft;
        case 124:
            return SpecialKey::arrowRight;
        case 126:
            return SpecialKey::arrowUp;
        case 125:
            return SpecialKey::arrowDown;
        default:
            return std::nullopt;
    }
}

std::string_view specialKeyName(SpecialKey key) {
    switch (key) {
        case SpecialKey::backspace:
            return "backspace";
        case SpecialKey::delete_:
            return "delete";
        case SpecialKey::returnKey:
            return "return";
        case SpecialKey::tab:
            return "tab";
        case SpecialKey::escape:
            return "escape";
        case SpecialKey::space:
            return "space";
        case SpecialKey::arrowLeft:
            return "arrowLeft";
        case SpecialKey::arrowRight:
            return "arrowRight";
        case SpecialKey::arrowUp:
            return "arrowUp";
        case SpecialKey::arrowDown:
            return "arrowDown";
    }
    return "unknown";
}

}  // namespace wordloom
