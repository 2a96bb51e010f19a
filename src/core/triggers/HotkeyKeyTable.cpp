#include "core/triggers/HotkeyKeyTable.h"

#include <array>
#include <utility>

#include "core/base/Text.h"

namespace wordloom::hotkeyKeys {
namespace {

struct Key {
    std::string_view name;
    std::uint16_t code;
    std::string_view display;
};

// The reference platform's codes (ANSI layout positions), as the library files store them.
constexpr std::array keys{
    Key{"a", 0, "A"},
    Key{"s", 1, "S"},
    Key{"d", 2, "D"},
    Key{"f", 3, "F"},
    Key{"h", 4, "H"},
    Key{"g", 5, "G"},
    Key{"z", 6, "Z"},
    Key{"x", 7, "X"},
    Key{"c", 8, "C"},
    Key{"v", 9, "V"},
    Key{"b", 11, "B"},
    Key{"q", 12, "Q"},
    Key{"w", 13, "W"},
    Key{"e", 14, "E"},
    Key{"r", 15, "R"},
    Key{"y", 16, "Y"},
    Key{"t", 17, "T"},
    Key{"1", 18, "1"},
    Key{"2", 19, "2"},
    Key{"3", 20, "3"},
    Key{"4", 21, "4"},
    Key{"6", 22, "6"},
    Key{"5", 23, "5"},
    Key{"=", 24, "="},
    Key{"9", 25, "9"},
    Key{"7", 26, "7"},
    Key{"-", 27, "-"},
    Key{"8", 28, "8"},
    Key{"0", 29, "0"},
    Key{"]", 30, "]"},
    Key{"o", 31, "O"},
    Key{"u", 32, "U"},
    Key{"[", 33, "["},
    Key{"i", 34, "I"},
    Key{"p", 35, "P"},
    Key{"return", 36, "Return"},
    Key{"l", 37, "L"},
    Key{"j", 38, "J"},
    Key{"'", 39, "'"},
    Key{"k", 40, "K"},
    Key{";", 41, ";"},
    Key{"\\", 42, "\\"},
    Key{",", 43, ","},
    Key{"/", 44, "/"},
    Key{"n", 45, "N"},
    Key{"m", 46, "M"},
    Key{".", 47, "."},
    Key{"tab", 48, "Tab"},
    Key{"space", 49, "Space"},
    Key{"`", 50, "`"},
    Key{"backspace", 51, "Backspace"},
    Key{"escape", 53, "Escape"},
    Key{"f17", 64, "F17"},
    Key{"f18", 79, "F18"},
    Key{"f19", 80, "F19"},
    Key{"f20", 90, "F20"},
    Key{"f5", 96, "F5"},
    Key{"f6", 97, "F6"},
    Key{"f7", 98, "F7"},
    Key{"f3", 99, "F3"},
    Key{"f8", 100, "F8"},
    Key{"f9", 101, "F9"},
    Key{"f11", 103, "F11"},
    Key{"f13", 105, "F13"},
    Key{"f16", 106, "F16"},
    Key{"f14", 107, "F14"},
    Key{"f10", 109, "F10"},
    Key{"f12", 111, "F12"},
    Key{"f15", 113, "F15"},
    Key{"home", 115, "Home"},
    Key{"pageup", 116, "Page Up"},
    Key{"delete", 117, "Delete"},
    Key{"f4", 118, "F4"},
    Key{"end", 119, "End"},
    Key{"f2", 120, "F2"},
    Key{"pagedown", 121, "Page Down"},
    Key{"f1", 122, "F1"},
    Key{"left", 123, "Left"},
    Key{"right", 124, "Right"},
    Key{"down", 125, "Down"},
    Key{"up", 126, "Up"},
};

// Other spellings people and desktops use for the same keys.
constexpr std::array<std::pair<std::string_view, std::string_view>, 9> aliases{{
    {"esc", "escape"},
    {"enter", "return"},
    {"page up", "pageup"},
    {"page_up", "pageup"},
    {"prior", "pageup"},
    {"page down", "pagedown"},
    {"page_down", "pagedown"},
    {"next", "pagedown"},
    {"del", "delete"},
}};

std::string canonical(std::string_view name) {
    auto lower = text::lowercased(name);
    for (const auto& [alias, key] : aliases) {
        if (lower == alias) {
            return std::string(key);
        }
    }
    return lower;
}

}  // namespace

std::optional<std::uint16_t> keyCode(std::string_view name) {
    const auto key = canonical(name);
    for (const auto& entry : keys) {
        if (entry.name == key) {
            return entry.code;
        }
    }
    return std::nullopt;
}

std::optional<std::string> name(std::uint16_t keyCode) {
    for (const auto& entry : keys) {
        if (entry.code == keyCode) {
            return std::string(entry.name);
        }
    }
    return std::nullopt;
}

std::string displayName(std::string_view name) {
    const auto key = canonical(name);
    for (const auto& entry : keys) {
        if (entry.name == key) {
            return std::string(entry.display);
        }
    }
    return text::uppercased(name);
}

}  // namespace wordloom::hotkeyKeys
