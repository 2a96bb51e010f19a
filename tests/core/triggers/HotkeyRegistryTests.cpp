#include <gtest/gtest.h>

#include "core/triggers/HotkeyRegistry.h"

namespace wordloom {
namespace {

using namespace modifier;

Snippet withHotkey(const char* abbreviation, std::uint16_t key, std::uint32_t modifiers) {
    Snippet s;
    s.id = Uuid::random();
    s.abbreviation = abbreviation;
    s.hotkey = SnippetHotkey{key, modifiers};
    return s;
}

TEST(HotkeyPlan, HoldsTheSearchShortcutAndEachLiveSnippetsHotkeyOnce) {
    AppSettings settings;  // quick search on Shift+Super+T
    std::vector<Snippet> snippets{withHotkey(";a", 0, command | option),
                                  withHotkey(";b", 17, command | shift),  // T, like search
                                  withHotkey(";c", 0, command | option | 0x800000),
                                  withHotkey(";d", 1, control | option)};
    snippets.push_back(withHotkey(";off", 2, control | option));
    snippets.back().isEnabled = false;
    snippets.push_back(withHotkey(";gone", 3, control | option));
    snippets.back().deletedAt = Timestamp{};
    const auto plan = HotkeyPlan::make(settings, snippets);
    ASSERT_EQ(plan.bindings.size(), 3u);
    EXPECT_EQ(plan.bindings[0].snippet, std::nullopt);
    EXPECT_EQ(plan.bindings[0].owner, "quick search");
    EXPECT_EQ(plan.bindings[1].snippet, snippets[0].id);
    EXPECT_EQ(plan.bindings[2].snippet, snippets[3].id);
    ASSERT_EQ(plan.refusals.size(), 2u);
    EXPECT_EQ(plan.refusals[0],
              "Shift+Super+T is already the shortcut of quick search; the shortcut of "
              "\u201c;b\u201d does nothing until one of them changes.");
    EXPECT_NE(plan.refusals[1].find("Alt+Super+A is already the shortcut of \u201c;a\u201d"),
              std::string::npos);
}

TEST(HotkeyPlan, HasNothingToHoldForShortcutsWithoutAModifierOrKey) {
    AppSettings settings;
    settings.globalSearchShortcut = {"t", shift};
    const auto plan = HotkeyPlan::make(settings, {withHotkey(";x", 200, command | shift)});
    EXPECT_TRUE(plan.bindings.empty());
}

}  // namespace
}  // namespace wordloom
