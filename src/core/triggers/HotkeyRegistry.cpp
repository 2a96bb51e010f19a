#include "core/triggers/HotkeyRegistry.h"

#include "core/library/ShortcutText.h"
#include "core/triggers/HotkeyKeyTable.h"

namespace wordloom {
namespace {

constexpr std::uint32_t fourModifiers =
    modifier::shift | modifier::control | modifier::option | modifier::command;

std::string ownerOf(const Snippet& snippet) {
    return "\u201c" + snippet.abbreviation + "\u201d" +
           (snippet.label.empty() ? std::string() : " (" + snippet.label + ")");
}

}  // namespace

std::string hotkeyDisplayForm(std::uint16_t keyCode, std::uint32_t modifiers) {
    const auto name = hotkeyKeys::name(keyCode);
    return shortcutText(name ? hotkeyKeys::displayName(*name) : "key " + std::to_string(keyCode),
                        modifiers);
}

HotkeyPlan HotkeyPlan::make(const AppSettings& settings, const std::vector<Snippet>& snippets) {
    HotkeyPlan plan;
    const auto add = [&](HotkeyBinding binding) {
        for (const auto& taken : plan.bindings) {
            if (taken.keyCode == binding.keyCode && taken.modifiers == binding.modifiers) {
                plan.refusals.push_back(hotkeyDisplayForm(binding.keyCode, binding.modifiers) +
                                        " is already the shortcut of " + taken.owner +
                                        "; the shortcut of " + binding.owner +
                                        " does nothing until one of them changes.");
                return;
            }
        }
        plan.bindings.push_back(std::move(binding));
    };
    const auto& search = settings.globalSearchShortcut;
    if (const auto code = hotkeyKeys::keyCode(search.key);
        code && (search.modifiers & modifier::shortcutMask)) {
        add({*code, search.modifiers & fourModifiers, std::nullopt, "quick search"});
    }
    for (const auto& snippet : snippets) {
        if (!snippet.hotkey || !snippet.isEnabled || snippet.isDeleted() ||
            !(snippet.hotkey->modifiers & modifier::shortcutMask) ||
            !hotkeyKeys::name(snippet.hotkey->keyCode)) {
            continue;
        }
        add({snippet.hotkey->keyCode, snippet.hotkey->modifiers & fourModifiers, snippet.id,
             ownerOf(snippet)});
    }
    return plan;
}

}  // namespace wordloom
