#pragma once

#include <string>
#include <vector>

#include "core/base/Log.h"
#include "core/base/ObserverList.h"
#include "core/triggers/HotkeyRegistry.h"

namespace wordloom {

class DesktopShell;
class ExpansionEngine;
class SettingsStore;
class SnippetStore;
class X11HotkeyMonitor;

/// Keeps the global shortcuts the library and settings ask for held while expansion runs: the
/// quick search shortcut opens quick search, a snippet's hotkey expands it at the caret of the
/// focused window. Released while paused or waiting for accessibility, and at quit. On a
/// Wayland session an X client cannot hold shortcuts: they stay off, and the log says so.
class GlobalHotkeys {
  public:
    GlobalHotkeys(X11HotkeyMonitor& monitor, SnippetStore& snippets, SettingsStore& settings,
                  ExpansionEngine& engine, DesktopShell& shell);
    ~GlobalHotkeys();
    GlobalHotkeys(const GlobalHotkeys&) = delete;
    GlobalHotkeys& operator=(const GlobalHotkeys&) = delete;

    /// Holds what the library and settings ask for now (nothing while expansion is off).
    void update();

  private:
    X11HotkeyMonitor& monitor_;
    SnippetStore& snippets_;
    SettingsStore& settings_;
    ExpansionEngine& engine_;
    DesktopShell& shell_;
    Logger logger_{"GlobalHotkeys"};
    bool wayland_ = false;
    std::vector<HotkeyBinding> held_;
    std::vector<std::string> reported_;
    Subscription snippetSubscription_;
    Subscription settingsSubscription_;
};

}  // namespace wordloom
