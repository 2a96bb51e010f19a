#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace wordloom {

/// A shortcut the operating system or desktop keeps for itself.
struct ReservedShortcut {
    std::uint32_t modifiers = 0;
    /// The key's name, as HotkeyKeyTable names keys ("l", "space", "delete").
    std::string key;
    /// What it does there: "locking the screen".
    std::string purpose;
    bool operator==(const ReservedShortcut&) const = default;
};

/// What differs between platforms: the words of the messages, how a shortcut is written, and
/// the shortcuts the system keeps. The messages live here and only here.
struct ShortcutPlatform {
    /// The key has no key code: rule 1.
    std::string unusableKey;
    /// Neither of the two "real" modifiers is held: rule 2.
    std::string needsCommandOrControl;
    /// Only one modifier: rule 3.
    std::string needsTwoModifiers;
    /// Rule 4, with the shortcut's display form and the purpose.
    std::function<std::string(const std::string& shortcut, const std::string& purpose)> reserved;
    /// How the shortcut is shown to the user.
    std::function<std::string(std::string_view key, std::uint32_t modifiers)> displayForm;
    /// The system's own shortcuts, then the user's own bindings.
    std::vector<ReservedShortcut> firstTable;
    std::vector<ReservedShortcut> secondTable;

    /// This platform: the modifier masks of the files read as Super (Command), Ctrl (Control),
    /// Alt (Option) and Shift; the defaults of GNOME, KDE Plasma and Xfce as the first table.
    static ShortcutPlatform linuxDesktop(std::vector<ReservedShortcut> userBindings = {});
};

/// Decides whether a key combination may become a global shortcut (the quick search shortcut
/// or a snippet's hotkey). The first rule that applies gives the message shown under the
/// recorder; no message means the combination is accepted.
class ShortcutValidator {
  public:
    explicit ShortcutValidator(ShortcutPlatform platform);

    std::optional<std::string> validate(std::string_view key, std::uint32_t modifiers) const;

    /// The lookup form of a combination: the held modifiers of the four (mask & 0x1E0000),
    /// ":" and the key's name in lower case. Upper- and lower-case keys are one signature.
    static std::string signature(std::uint32_t modifiers, std::string_view key);

  private:
    ShortcutPlatform platform_;
};

/// A shortcut written as the desktop writes it ("Super+Shift+T", "Ctrl+Alt+Delete", "Meta+L",
/// "<Super>l") or as the settings command takes it ("t+0x120000"). Returns the key's name and
/// the modifier mask, or nothing for text that is neither.
std::optional<std::pair<std::string, std::uint32_t>> parseShortcut(std::string_view text);

/// The bindings of GNOME's key-binding schemas as `gsettings list-recursively SCHEMA` prints
/// them ("org.gnome.desktop.wm.keybindings close ['<Alt>F4']").
std::vector<ReservedShortcut> parseGnomeKeybindings(std::string_view gsettingsOutput);
/// The current bindings of KDE's kglobalshortcutsrc ("Lock Session=Meta+L\tScreensaver,...").
std::vector<ReservedShortcut> parseKdeGlobalShortcuts(std::string_view fileText);

}  // namespace wordloom
