#pragma once

#include <QIcon>

namespace wordloom {

/// What the tray icon shows.
enum class TrayState { running, paused, waitingForAccessibility };

/// The tray icon for `state`: a symbolic speech line in the panel's text colour, with pause bars
/// or a warning mark. Drawn at every size the tray may ask for, so it is sharp on HiDPI.
QIcon trayIcon(TrayState state);

}  // namespace wordloom
