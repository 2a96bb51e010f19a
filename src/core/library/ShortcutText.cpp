#include "core/library/ShortcutText.h"

#include "core/base/Text.h"

namespace wordloom {

std::string shortcutText(const KeyboardShortcut& shortcut) {
    if (shortcut.key.empty()) {
        return {};
    }
    std::string result;
    if (shortcut.modifiers & modifier::control) {
        result += "Ctrl+";
    }
    if (shortcut.modifiers & modifier::option) {
        result += "Alt+";
    }
    if (shortcut.modifiers & modifier::shift) {
        result += "Shift+";
    }
    if (shortcut.modifiers & modifier::command) {
        result += "Super+";
    }
    return result + text::uppercased(shortcut.key);
}

}  // namespace wordloom
