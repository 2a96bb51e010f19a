#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace wordloom {

/// The keys a global shortcut may use, by name ("k", "7", "f5", "space", "escape", "left"...),
/// and the reference platform's virtual key code each one has in the library files
/// (`SnippetHotkey::keyCode`). Names compare without regard to case.
namespace hotkeyKeys {

std::optional<std::uint16_t> keyCode(std::string_view name);
/// The key's name in lower case ("k", "f5", "space"), or nothing for a code not in the table.
std::optional<std::string> name(std::uint16_t keyCode);
/// How the desktop writes the key: "K", "7", "F5", "Space", "Page Up".
std::string displayName(std::string_view name);

}  // namespace hotkeyKeys
}  // namespace wordloom
