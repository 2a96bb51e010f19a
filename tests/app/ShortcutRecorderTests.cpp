#include <gtest/gtest.h>

#include "ui/ShortcutRecorder.h"

namespace wordloom {
namespace {

std::optional<KeyboardShortcut> record(int key, Qt::KeyboardModifiers modifiers,
                                       const char* text = "") {
    return ShortcutRecorder::fromKeyPress(key, modifiers, QString::fromUtf8(text));
}

TEST(ShortcutRecorderTests, KeysWithControlAltOrSuperBecomeShortcutsInTheFilesBits) {
    EXPECT_EQ(record(Qt::Key_T, Qt::ControlModifier | Qt::ShiftModifier, "T"),
              (KeyboardShortcut{"t", modifier::control | modifier::shift}));
    EXPECT_EQ(record(Qt::Key_T, Qt::MetaModifier | Qt::ShiftModifier),
              (KeyboardShortcut{"t", modifier::command | modifier::shift}));
    EXPECT_EQ(record(Qt::Key_F5, Qt::AltModifier), (KeyboardShortcut{"f5", modifier::option}));
    EXPECT_EQ(record(Qt::Key_Space, Qt::ControlModifier | Qt::AltModifier),
              (KeyboardShortcut{"space", modifier::control | modifier::option}));
}

TEST(ShortcutRecorderTests, ModifiersAloneAndShiftedLettersAreNotShortcuts) {
    EXPECT_FALSE(record(Qt::Key_T, Qt::ShiftModifier, "T"));
    EXPECT_FALSE(record(Qt::Key_T, Qt::NoModifier, "t"));
    EXPECT_FALSE(record(Qt::Key_Control, Qt::ControlModifier));
    EXPECT_FALSE(record(Qt::Key_Meta, Qt::MetaModifier | Qt::ShiftModifier));
    EXPECT_FALSE(record(0, Qt::ControlModifier));
}

}  // namespace
}  // namespace wordloom
