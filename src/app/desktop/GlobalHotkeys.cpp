#include "app/desktop/GlobalHotkeys.h"

#include <algorithm>
#include <cstdlib>

#include "app/desktop/DesktopShell.h"
#include "core/expansion/ExpansionEngine.h"
#include "core/library/SettingsStore.h"
#include "core/library/SnippetStore.h"
#include "platform/x11/X11HotkeyMonitor.h"

namespace wordloom {

GlobalHotkeys::GlobalHotkeys(X11HotkeyMonitor& monitor, SnippetStore& snippets,
                             SettingsStore& settings, ExpansionEngine& engine, DesktopShell& shell)
    : monitor_(monitor), snippets_(snippets), settings_(settings), engine_(engine), shell_(shell) {
    const char* wayland = std::getenv("WAYLAND_DISPLAY");
    wayland_ = wayland && *wayland;
    if (wayland_) {
        logger_.info(
            "Global shortcuts are off: on Wayland they need the desktop's GlobalShortcuts "
            "portal. Bind \u201cwordloom quick-search\u201d and \u201cwordloom expand-now "
            "ABBREVIATION\u201d to keys in your desktop's keyboard settings instead.");
    }
    monitor_.onPressed = [this](const HotkeyBinding& binding) {
        if (!binding.snippet) {
            shell_.openQuickSearch({});
            return;
        }
        if (const auto* snippet = snippets_.snippet(*binding.snippet);
            snippet && engine_.isRunning()) {
            engine_.expandOnRequest(*snippet);
        }
    };
    snippetSubscription_ = snippets_.observeChanges([this] { update(); });
    settingsSubscription_ = settings_.observeChanges([this] { update(); });
}

GlobalHotkeys::~GlobalHotkeys() {
    monitor_.onPressed = nullptr;
    monitor_.releaseAll();
}

void GlobalHotkeys::update() {
    if (wayland_ || !monitor_.isAvailable()) {
        return;
    }
    HotkeyPlan plan;
    if (engine_.isRunning() && !shell_.isPaused() && snippets_.isHydrated()) {
        plan = HotkeyPlan::make(settings_.settings(), snippets_.snippets());
    }
    if (plan.bindings == held_) {
        return;  // most library changes touch no shortcut
    }
    auto problems = monitor_.hold(plan.bindings);
    problems.insert(problems.end(), plan.refusals.begin(), plan.refusals.end());
    for (const auto& problem : problems) {
        if (std::find(reported_.begin(), reported_.end(), problem) == reported_.end()) {
            logger_.error(problem);
        }
    }
    reported_ = std::move(problems);
    held_ = plan.bindings;
    if (!held_.empty()) {
        logger_.info("Holding " + std::to_string(held_.size()) + " global shortcut" +
                     (held_.size() == 1 ? "" : "s"));
    }
}

}  // namespace wordloom
