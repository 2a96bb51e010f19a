#include <gtest/gtest.h>

#include <stdexcept>

#include "core/base/JsonReader.h"
#include "core/base/JsonWriter.h"
#include "core/library/AppSettings.h"

namespace wordloom {
namespace {

TEST(PasteShortcutOverrideTests, CommandLineTextSetsReplacesAndClearsTheOverrides) {
    AppSettings s;
    setSettingFromText(
        s, SettingField::pasteShortcutOverrides,
        "org.gnome.Terminal=controlShiftV,Emacs=controlV,app=with=equals=shiftInsert");
    EXPECT_EQ(s.pasteShortcutOverrides, (std::map<std::string, PasteShortcut>{
                                            {"org.gnome.Terminal", PasteShortcut::controlShiftV},
                                            {"Emacs", PasteShortcut::controlV},
                                            {"app=with=equals", PasteShortcut::shiftInsert}}));
    EXPECT_EQ(settingValueText(s, SettingField::pasteShortcutOverrides),
              "Emacs=controlV,app=with=equals=shiftInsert,org.gnome.Terminal=controlShiftV");

    for (const char* bad :
         {"xterm", "xterm=ctrl+v", "=controlV", "xterm=controlV,", "a=controlV,,"}) {
        AppSettings unchanged = s;
        EXPECT_THROW(setSettingFromText(unchanged, SettingField::pasteShortcutOverrides, bad),
                     std::invalid_argument)
            << bad;
        EXPECT_EQ(unchanged, s) << bad;
    }
    try {
        setSettingFromText(s, SettingField::pasteShortcutOverrides, "xterm=ctrl+v");
    } catch (const std::invalid_argument& error) {
        EXPECT_NE(std::string(error.what()).find("controlV, shiftInsert, controlShiftV"),
                  std::string::npos);
    }

    setSettingFromText(s, SettingField::pasteShortcutOverrides, "");
    EXPECT_TRUE(s.pasteShortcutOverrides.empty());
}

TEST(PasteShortcutOverrideTests, WrittenOnlyWhenSetAndReadPastEntriesThisBuildDoesNotKnow) {
    JsonWriter plain;
    encodeAppSettings(plain, AppSettings{});
    EXPECT_EQ(plain.take().find("pasteShortcutOverrides"), std::string::npos);

    JsonDocument document(R"({"pasteShortcutOverrides": {"xterm": "controlShiftV",
        "future": "superV", "number": 3, "": "controlV"}})");
    const auto s = decodeAppSettings(document.root());
    EXPECT_EQ(s.pasteShortcutOverrides,
              (std::map<std::string, PasteShortcut>{{"xterm", PasteShortcut::controlShiftV}}));

    JsonDocument wrongShape(R"({"pasteShortcutOverrides": ["xterm"], "smartCaseEnabled": true})");
    const auto odd = decodeAppSettings(wrongShape.root());
    EXPECT_TRUE(odd.pasteShortcutOverrides.empty());
    EXPECT_TRUE(odd.smartCaseEnabled);
}

TEST(PasteShortcutOverrideTests, LookupIgnoresLetterCaseButPrefersAnExactMatch) {
    AppSettings s;
    s.pasteShortcutOverrides = {{"XTerm", PasteShortcut::controlV},
                                {"xterm", PasteShortcut::controlShiftV}};
    EXPECT_EQ(pasteShortcutOverride(s, "XTerm"), PasteShortcut::controlV);
    EXPECT_EQ(pasteShortcutOverride(s, "xterm"), PasteShortcut::controlShiftV);
    EXPECT_TRUE(pasteShortcutOverride(s, "XTERM"));
    EXPECT_EQ(pasteShortcutOverride(s, "xterm2"), std::nullopt);
    EXPECT_EQ(pasteShortcutOverride(s, std::nullopt), std::nullopt);
}

}  // namespace
}  // namespace wordloom
