#include "core/triggers/ShortcutValidator.h"

#include <algorithm>
#include <bit>
#include <cctype>
#include <cstdlib>

#include "core/base/Text.h"
#include "core/library/ShortcutText.h"
#include "core/library/Snippet.h"
#include "core/triggers/HotkeyKeyTable.h"

namespace wordloom {
namespace {

constexpr std::uint32_t fourModifiers =
    modifier::shift | modifier::control | modifier::option | modifier::command;

ReservedShortcut row(std::uint32_t modifiers, std::string key, std::string purpose) {
    return {modifiers, std::move(key), std::move(purpose)};
}

std::string linuxDisplayForm(std::string_view key, std::uint32_t modifiers) {
    return shortcutText(hotkeyKeys::displayName(key), modifiers);
}

std::uint32_t modifierNamed(std::string_view word) {
    const auto name = text::lowercased(word);
    if (name == "super" || name == "meta" || name == "cmd" || name == "command" || name == "win" ||
        name == "logo" || name == "mod4") {
        return modifier::command;
    }
    if (name == "ctrl" || name == "control" || name == "primary") {
        return modifier::control;
    }
    if (name == "alt" || name == "option" || name == "opt" || name == "mod1") {
        return modifier::option;
    }
    if (name == "shift") {
        return modifier::shift;
    }
    return 0;
}

std::string trim(std::string_view text) {
    return std::string(text::trimWhitespaceAndNewlines(text));
}

}  // namespace

ShortcutPlatform ShortcutPlatform::linuxDesktop(std::vector<ReservedShortcut> userBindings) {
    using namespace modifier;
    ShortcutPlatform platform;
    platform.unusableKey = "Wordloom can't use that key. Try a letter, number or function key.";
    platform.needsCommandOrControl =
        "Include Super or Ctrl. Alt and Shift alone change the characters you type.";
    platform.needsTwoModifiers =
        "Use at least two modifier keys, like Super+Shift+K or Ctrl+Alt+Space, so it doesn't "
        "replace an app's own shortcut.";
    platform.reserved = [](const std::string& shortcut, const std::string& purpose) {
        return shortcut + " is used by the desktop for " + purpose + ".";
    };
    platform.displayForm = linuxDisplayForm;
    // The defaults GNOME, KDE Plasma and Xfce give their own shortcuts (the ones the rules
    // above let through: two modifiers, one of them Super or Ctrl).
    platform.firstTable = {
        row(control | option, "l", "locking the screen"),
        row(control | option, "delete", "logging out"),
        row(command | shift, "q", "logging out"),
        row(command | shift, "s", "screenshots"),
        row(command | shift, "print", "screenshots"),
        row(control | shift, "print", "screenshots"),
        row(control | option, "t", "opening a terminal"),
        row(control | option, "left", "switching workspaces"),
        row(control | option, "right", "switching workspaces"),
        row(control | option, "up", "switching workspaces"),
        row(control | option, "down", "switching workspaces"),
        row(command | shift, "pageup", "switching workspaces"),
        row(command | shift, "pagedown", "switching workspaces"),
        row(command | shift, "space", "switching input sources"),
        row(command | shift, "tab", "switching applications"),
        row(control | option, "tab", "switching applications"),
        row(control | shift, "e", "the emoji picker"),
        row(control | option, "d", "showing the desktop"),
        row(control | option, "escape", "closing a window that does not answer"),
        row(command | shift, "up", "full screen"),
    };
    platform.secondTable = std::move(userBindings);
    return platform;
}

ShortcutValidator::ShortcutValidator(ShortcutPlatform platform) : platform_(std::move(platform)) {}

std::string ShortcutValidator::signature(std::uint32_t modifiers, std::string_view key) {
    const auto held = modifiers & fourModifiers;
    std::string out;
    for (const auto& [bit, name] :
         {std::pair{modifier::command, "command"}, std::pair{modifier::control, "control"},
          std::pair{modifier::option, "option"}, std::pair{modifier::shift, "shift"}}) {
        if (held & bit) {
            out += out.empty() ? "" : "+";
            out += name;
        }
    }
    const auto code = hotkeyKeys::keyCode(key);
    const auto name = code ? hotkeyKeys::name(*code) : std::nullopt;
    return out + ":" + (name ? *name : text::lowercased(key));
}

std::optional<std::string> ShortcutValidator::validate(std::string_view key,
                                                       std::uint32_t modifiers) const {
    if (!hotkeyKeys::keyCode(key)) {
        return platform_.unusableKey;
    }
    const auto held = modifiers & fourModifiers;
    if ((held & (modifier::command | modifier::control)) == 0) {
        return platform_.needsCommandOrControl;
    }
    if (std::popcount(held) < 2) {
        return platform_.needsTwoModifiers;
    }
    const auto wanted = signature(held, key);
    for (const auto* table : {&platform_.firstTable, &platform_.secondTable}) {
        for (const auto& reserved : *table) {
            if (signature(reserved.modifiers, reserved.key) == wanted) {
                return platform_.reserved(platform_.displayForm(key, held), reserved.purpose);
            }
        }
    }
    return std::nullopt;
}

std::optional<std::pair<std::string, std::uint32_t>> parseShortcut(std::string_view text) {
    const auto input = trim(text);
    if (input.empty()) {
        return std::nullopt;
    }
    // "t+0x120000": the settings form, a key and a hexadecimal mask.
    if (const auto plus = input.rfind("+0x"); plus != std::string::npos && plus > 0) {
        char* end = nullptr;
        const auto mask = std::strtoul(input.c_str() + plus + 3, &end, 16);
        if (end && *end == '\0') {
            return std::pair{text::lowercased(input.substr(0, plus)),
                             static_cast<std::uint32_t>(mask)};
        }
    }
    // "<Super><Shift>t": GNOME's form.
    if (input.front() == '<') {
        std::uint32_t mask = 0;
        std::size_t at = 0;
        while (at < input.size() && input[at] == '<') {
            const auto close = input.find('>', at);
            if (close == std::string::npos) {
                return std::nullopt;
            }
            const auto bit = modifierNamed(std::string_view(input).substr(at + 1, close - at - 1));
            if (bit == 0) {
                return std::nullopt;
            }
            mask |= bit;
            at = close + 1;
        }
        if (at >= input.size()) {
            return std::nullopt;
        }
        return std::pair{text::lowercased(input.substr(at)), mask};
    }
    // "Super+Shift+T", "Ctrl+Alt+Page Up": modifiers, then the key (which may be "+").
    std::uint32_t mask = 0;
    std::size_t start = 0;
    while (true) {
        const auto plus = input.find('+', start);
        if (plus == std::string::npos || plus == input.size() - 1) {
            break;
        }
        const auto bit = modifierNamed(trim(std::string_view(input).substr(start, plus - start)));
        if (bit == 0) {
            break;
        }
        mask |= bit;
        start = plus + 1;
    }
    const auto key = trim(std::string_view(input).substr(start));
    if (key.empty()) {
        return std::nullopt;
    }
    return std::pair{text::lowercased(key), mask};
}

std::vector<ReservedShortcut> parseGnomeKeybindings(std::string_view output) {
    std::vector<ReservedShortcut> found;
    std::size_t start = 0;
    while (start < output.size()) {
        const auto end = output.find('\n', start);
        const auto line = output.substr(
            start, end == std::string_view::npos ? std::string_view::npos : end - start);
        start = end == std::string_view::npos ? output.size() : end + 1;
        // SCHEMA KEY VALUE
        const auto first = line.find(' ');
        const auto second = first == std::string_view::npos ? first : line.find(' ', first + 1);
        if (second == std::string_view::npos) {
            continue;
        }
        std::string purpose(line.substr(first + 1, second - first - 1));
        std::replace(purpose.begin(), purpose.end(), '-', ' ');
        purpose = "\u201c" + purpose + "\u201d";
        auto value = line.substr(second + 1);
        // ['<Super>l', '<Primary><Alt>Delete'] or '<Super>l' (single strings)
        std::size_t at = 0;
        while ((at = value.find('\'', at)) != std::string_view::npos) {
            const auto close = value.find('\'', at + 1);
            if (close == std::string_view::npos) {
                break;
            }
            if (const auto parsed = parseShortcut(value.substr(at + 1, close - at - 1));
                parsed && parsed->second != 0) {
                found.push_back({parsed->second, parsed->first, purpose});
            }
            at = close + 1;
        }
    }
    return found;
}

std::vector<ReservedShortcut> parseKdeGlobalShortcuts(std::string_view fileText) {
    std::vector<ReservedShortcut> found;
    std::size_t start = 0;
    while (start < fileText.size()) {
        const auto end = fileText.find('\n', start);
        auto line = fileText.substr(
            start, end == std::string_view::npos ? std::string_view::npos : end - start);
        start = end == std::string_view::npos ? fileText.size() : end + 1;
        if (line.empty() || line.front() == '[' || line.front() == '#') {
            continue;
        }
        const auto equals = line.find('=');
        if (equals == std::string_view::npos) {
            continue;
        }
        // action=current,default,description; "current" may hold several, tab-separated
        const auto value = line.substr(equals + 1);
        const auto comma = value.find(',');
        const auto current = value.substr(0, comma);
        const auto lastComma = value.rfind(',');
        std::string purpose = lastComma == std::string_view::npos || lastComma == comma
                                  ? std::string(line.substr(0, equals))
                                  : std::string(value.substr(lastComma + 1));
        purpose = "\u201c" + trim(purpose) + "\u201d";
        std::size_t at = 0;
        while (at <= current.size()) {
            const auto tab = current.find('\t', at);
            const auto one = current.substr(
                at, tab == std::string_view::npos ? std::string_view::npos : tab - at);
            if (const auto parsed = parseShortcut(one);
                parsed && parsed->second != 0 && one != "none") {
                found.push_back({parsed->second, parsed->first, purpose});
            }
            if (tab == std::string_view::npos) {
                break;
            }
            at = tab + 1;
        }
    }
    return found;
}

}  // namespace wordloom
