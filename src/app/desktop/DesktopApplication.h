#pragma once

#include <filesystem>
#include <memory>

namespace wordloom {

/// Where the desktop app finds the user's files.
struct DesktopLocation {
    std::filesystem::path dataFolder;
    std::filesystem::path configFolder;
};

/// The application's exit status when it must start again (the accessibility bus restarted).
inline constexpr int restartExitStatus = 75;

/// Wordloom on the desktop: builds every service once (stores, snippet cache, detector,
/// accessibility, keyboard monitor, inserter, engine, windows), starts the engine once
/// accessibility is available, and runs the Qt event loop until asked to quit. Returns the
/// process's exit status.
int runDesktopApplication(const DesktopLocation& location, int argc, char** argv);

}  // namespace wordloom
