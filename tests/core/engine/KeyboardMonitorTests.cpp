#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/expansion/KeyboardMonitor.h"

namespace wordloom {
namespace {

class DrivenMonitor final : public KeyboardMonitor {
  public:
    void start() override {}
    void stop() override {}
    bool isMonitoring() const override { return true; }
    void keyDown(const KeyDown& key) { dispatch(key); }
};

struct Received {
    std::vector<std::string> text;
    std::vector<SpecialKey> special;
};

Received drive(const std::vector<KeyDown>& keys) {
    DrivenMonitor monitor;
    Received received;
    monitor.onKeyPress = [&](const std::string& text) { received.text.push_back(text); };
    monitor.onSpecialKey = [&](SpecialKey key) { received.special.push_back(key); };
    for (const auto& key : keys) {
        monitor.keyDown(key);
    }
    return received;
}

TEST(KeyboardMonitorTests, ShiftedLetterIsTextButCommandModifiedKeyIsEscape) {
    const auto shifted = drive({{std::nullopt, false, "A"}});
    EXPECT_EQ(shifted.text, std::vector<std::string>{"A"});
    EXPECT_TRUE(shifted.special.empty());

    const auto commanded = drive({{std::nullopt, true, "a"}, {SpecialKey::returnKey, true, ""}});
    EXPECT_TRUE(commanded.text.empty());
    EXPECT_EQ(commanded.special, (std::vector{SpecialKey::escape, SpecialKey::escape}));
}

TEST(KeyboardMonitorTests, SpecialKeysArriveAsThemselvesNotAsTheirText) {
    const auto received = drive({{SpecialKey::space, false, " "}, {SpecialKey::tab, false, "\t"}});
    EXPECT_TRUE(received.text.empty());
    EXPECT_EQ(received.special, (std::vector{SpecialKey::space, SpecialKey::tab}));
}

TEST(KeyboardMonitorTests, DeadKeyStillComposingCallsNothing) {
    const auto received = drive({{std::nullopt, false, ""}});
    EXPECT_TRUE(received.text.empty());
    EXPECT_TRUE(received.special.empty());
}

TEST(KeyboardMonitorTests, KeyCodesOfTheSpecialKeys) {
    EXPECT_EQ(specialKeyForKeyCode(36), SpecialKey::returnKey);
    EXPECT_EQ(specialKeyForKeyCode(76), SpecialKey::returnKey);
    EXPECT_EQ(specialKeyForKeyCode(117), SpecialKey::delete_);
    EXPECT_EQ(specialKeyForKeyCode(125), SpecialKey::arrowDown);
    EXPECT_EQ(specialKeyForKeyCode(126), SpecialKey::arrowUp);
    EXPECT_EQ(specialKeyForKeyCode(9), std::nullopt);
    EXPECT_EQ(specialKeyForKeyCode(0), std::nullopt);
}

}  // namespace
}  // namespace wordloom
