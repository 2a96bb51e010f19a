#pragma once

#include <chrono>
#include <vector>

#include "core/triggers/ShortcutValidator.h"

namespace wordloom {

/// The user's own desktop shortcuts, as far as they can be read within `deadline`: GNOME's
/// key-binding schemas (through `gsettings`) and KDE Plasma's kglobalshortcutsrc. What cannot
/// be read in time, or at all, is left out.
std::vector<ReservedShortcut> readDesktopShortcutBindings(
    std::chrono::milliseconds deadline = std::chrono::milliseconds(1000));

}  // namespace wordloom
