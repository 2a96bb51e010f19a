#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "core/library/Snippet.h"

namespace wordloom {

/// A shortcut as this desktop writes it, modifiers first: "Shift+Super+T". The files' Command
/// modifier is the Super key here, Option is Alt. Empty for a shortcut with no key.
std::string shortcutText(const KeyboardShortcut& shortcut);

/// The same with the key as it should be shown ("Space", "F5", "K").
std::string shortcutText(std::string_view keyDisplay, std::uint32_t modifiers);

}  // namespace wordloom
