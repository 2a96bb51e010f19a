#include <gtest/gtest.h>

#include "core/triggers/HotkeyKeyTable.h"
#include "platform/x11/X11HotkeyMonitor.h"

// Xlib after Qt and GoogleTest: its macros (None, Bool, Status) break their headers.
#include <X11/Xlib.h>

namespace wordloom {
namespace {

// Every key of the files' table has an X key symbol, and that symbol names the same key again.
TEST(HotkeyKeysyms, EveryKeyOfTheTableHasAnXKeySymbol) {
    int keys = 0;
    for (std::uint16_t code = 0; code < 128; ++code) {
        const auto name = hotkeyKeys::name(code);
        if (!name) {
            continue;
        }
        ++keys;
        const auto symbolName = X11HotkeyMonitor::keysymName(code);
        ASSERT_TRUE(symbolName) << *name;
        const KeySym symbol = XStringToKeysym(symbolName->c_str());
        EXPECT_NE(symbol, static_cast<KeySym>(NoSymbol)) << *symbolName;
        EXPECT_EQ(XKeysymToString(symbol), *symbolName);
    }
    EXPECT_GT(keys, 80);
    EXPECT_EQ(X11HotkeyMonitor::keysymName(116), "Prior");
    EXPECT_EQ(X11HotkeyMonitor::keysymName(41), "semicolon");
    EXPECT_EQ(X11HotkeyMonitor::keysymName(122), "F1");
    EXPECT_EQ(X11HotkeyMonitor::keysymName(10), std::nullopt);
}

}  // namespace
}  // namespace wordloom
