#pragma once

#include <string>

#include "core/library/Snippet.h"

namespace wordloom {

/// A shortcut as this desktop writes it, modifiers first: "Shift+Super+T". The files' Command
/// modifier is the Super key here, Option is Alt. Empty for a shortcut with no key.
std::string shortcutText(const KeyboardShortcut& shortcut);

}  // namespace wordloom
