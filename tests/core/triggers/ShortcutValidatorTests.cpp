#include <gtest/gtest.h>

#include "core/library/Snippet.h"
#include "core/triggers/HotkeyKeyTable.h"
#include "core/triggers/ShortcutValidator.h"

namespace wordloom {
namespace {

using namespace modifier;

const ShortcutValidator validator(ShortcutPlatform::linuxDesktop({{command | option, "k",
                                                                   "\u201cmy own thing\u201d"}}));

TEST(ShortcutValidator, AppliesTheRulesInTheirOrder) {
    EXPECT_EQ(validator.validate("printscreen", command | shift),
              "Wordloom can't use that key. Try a letter, number or function key.");
    EXPECT_EQ(validator.validate("k", option | shift),
              "Include Super or Ctrl. Alt and Shift alone change the characters you type.");
    EXPECT_EQ(validator.validate("k", command),
              "Use at least two modifier keys, like Super+Shift+K or Ctrl+Alt+Space, so it "
              "doesn't replace an app's own shortcut.");
    EXPECT_EQ(validator.validate("k", control), validator.validate("k", command));
    EXPECT_EQ(validator.validate("j", command | option), std::nullopt);
    EXPECT_EQ(validator.validate("f5", control | shift), std::nullopt);
    // Bits outside the four modifiers do not count.
    EXPECT_EQ(validator.validate("k", command | 0x800000), validator.validate("k", command));
}

TEST(ShortcutValidator, RefusesTheDesktopsOwnAndTheUsersOwnShortcuts) {
    EXPECT_EQ(validator.validate("l", control | option),
              "Ctrl+Alt+L is used by the desktop for locking the screen.");
    EXPECT_EQ(validator.validate("Delete", control | option),
              "Ctrl+Alt+Delete is used by the desktop for logging out.");
    EXPECT_EQ(validator.validate("space", command | shift),
              "Shift+Super+Space is used by the desktop for switching input sources.");
    EXPECT_EQ(validator.validate("K", command | option),
              "Alt+Super+K is used by the desktop for \u201cmy own thing\u201d.");
    EXPECT_EQ(validator.validate("7", control | option), std::nullopt);
}

TEST(ShortcutValidator, SignaturesFoldCaseAndSpelling) {
    EXPECT_EQ(ShortcutValidator::signature(command | shift, "K"),
              ShortcutValidator::signature(command | shift, "k"));
    EXPECT_EQ(ShortcutValidator::signature(control | option, "Esc"),
              ShortcutValidator::signature(control | option, "escape"));
    EXPECT_EQ(ShortcutValidator::signature(control | 0x10000, "a"), "control:a");
    EXPECT_NE(ShortcutValidator::signature(control, "a"),
              ShortcutValidator::signature(command, "a"));
}

TEST(HotkeyKeyTable, NamesAndCodesGoBothWays) {
    for (const std::string name : {"a", "k", "z", "0", "9", "f1", "f12", "space", "escape", "tab",
                                   "return", "left", "up", "pageup", "home", "delete"}) {
        const auto code = hotkeyKeys::keyCode(name);
        ASSERT_TRUE(code) << name;
        EXPECT_EQ(hotkeyKeys::name(*code), name);
    }
    EXPECT_EQ(hotkeyKeys::keyCode("t"), 17);
    EXPECT_EQ(hotkeyKeys::keyCode("K"), 40);
    EXPECT_EQ(hotkeyKeys::keyCode("Page_Up"), 116);
    EXPECT_EQ(hotkeyKeys::keyCode("print"), std::nullopt);
    EXPECT_EQ(hotkeyKeys::name(10), std::nullopt);
    EXPECT_EQ(hotkeyKeys::displayName("pagedown"), "Page Down");
}

TEST(ParseShortcut, ReadsTheDesktopsAndTheSettingsForms) {
    using Parsed = std::optional<std::pair<std::string, std::uint32_t>>;
    EXPECT_EQ(parseShortcut("Super+Shift+T"), (Parsed{{"t", command | shift}}));
    EXPECT_EQ(parseShortcut("t+0x120000"), (Parsed{{"t", command | shift}}));
    EXPECT_EQ(parseShortcut("<Primary><Alt>Delete"), (Parsed{{"delete", control | option}}));
    EXPECT_EQ(parseShortcut("Meta+L"), (Parsed{{"l", command}}));
    EXPECT_EQ(parseShortcut("Ctrl+Alt++"), (Parsed{{"+", control | option}}));
    EXPECT_EQ(parseShortcut(" Ctrl + Alt + Page Up "), (Parsed{{"page up", control | option}}));
    EXPECT_EQ(parseShortcut("K"), (Parsed{{"k", 0}}));
    EXPECT_EQ(parseShortcut(""), std::nullopt);
    EXPECT_EQ(parseShortcut("<Hyper>x"), std::nullopt);
    EXPECT_EQ(parseShortcut("<Super>"), std::nullopt);
}

TEST(DesktopBindings, AreReadFromGnomeAndKdeSettings) {
    const auto gnome = parseGnomeKeybindings(
        "org.gnome.settings-daemon.plugins.media-keys screensaver ['<Super>l']\n"
        "org.gnome.desktop.wm.keybindings switch-applications ['<Super>Tab', '<Alt>Tab']\n"
        "org.gnome.desktop.wm.keybindings close @as []\n"
        "org.gnome.desktop.wm.keybindings begin-move ['<Alt>F7']\n");
    ASSERT_EQ(gnome.size(), 4u);
    EXPECT_EQ(gnome[0], (ReservedShortcut{command, "l", "\u201cscreensaver\u201d"}));
    EXPECT_EQ(gnome[1].purpose, "\u201cswitch applications\u201d");
    const auto kde = parseKdeGlobalShortcuts(
        "[ksmserver]\n"
        "Lock Session=Meta+L\tScreensaver,Meta+L\tScreensaver,Lock Session\n"
        "Log Out=Ctrl+Alt+Del,Ctrl+Alt+Del,Show Logout Prompt\n"
        "[kwin]\n"
        "Unused=none,,Nothing\n"
        "_k_friendly_name=KWin\n");
    ASSERT_EQ(kde.size(), 2u);
    EXPECT_EQ(kde[0], (ReservedShortcut{command, "l", "\u201cLock Session\u201d"}));
    EXPECT_EQ(kde[1],
              (ReservedShortcut{control | option, "del", "\u201cShow Logout Prompt\u201d"}));
    const ShortcutValidator withKde(ShortcutPlatform::linuxDesktop(kde));
    EXPECT_EQ(withKde.validate("delete", control | option),
              "Ctrl+Alt+Delete is used by the desktop for logging out.");
}

}  // namespace
}  // namespace wordloom
