#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "core/base/Uuid.h"
#include "core/library/AppSettings.h"
#include "core/library/Snippet.h"

namespace wordloom {

/// One global shortcut and what it does.
struct HotkeyBinding {
    std::uint16_t keyCode = 0;    // the files' key code
    std::uint32_t modifiers = 0;  // the four modifier bits only
    /// The snippet it expands, or nothing for the quick search shortcut.
    std::optional<Uuid> snippet;
    /// For messages: "quick search" or the snippet's abbreviation and label.
    std::string owner;
    bool operator==(const HotkeyBinding&) const = default;
};

/// The global shortcuts the app should hold: the quick search shortcut (`globalSearchShortcut`)
/// and every enabled, not deleted snippet's hotkey. Two on one combination cannot both work:
/// the first keeps it (quick search first, then snippets in library order) and each later one
/// is refused with a message naming the first.
struct HotkeyPlan {
    std::vector<HotkeyBinding> bindings;
    std::vector<std::string> refusals;

    static HotkeyPlan make(const AppSettings& settings, const std::vector<Snippet>& snippets);
};

/// "Shift+Super+T" for a binding.
std::string hotkeyDisplayForm(std::uint16_t keyCode, std::uint32_t modifiers);

}  // namespace wordloom
