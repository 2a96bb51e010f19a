#include "core/library/ShortcutText.h"

#include "core/base/Text.h"

namespace wordloom {

std::string shortcutText(const KeyboardShortcut& shortcut) {
    if (shortcut.key.empty()) {
        return {};
    }
    return shortcutText(text::uppercased(shortcut.key), shortcut.modifiers);
}

std::string shortcutText(std::string_view keyDisplay, std::uint32_t modifiers) {
    // The order GNOME and KDE write them in.
    std::string result;
    if (modifiers & modifier::control) {
        result += "Ctrl+";
    }
    if (modifiers & modifier::option) {
        result += "Alt+";
    }
    if (modifiers & modifier::shift) {
        result += "Shift+";
    }
    if (modifiers & modifier::command) {
        result += "Super+";
    }
    return result + std::string(keyDisplay);
}

}  // namespace wordloom
