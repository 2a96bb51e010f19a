#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace wordloom {

/// Set (to "1") in the environment of the application process the supervisor starts, so that
/// `wordloom start` runs the application itself instead of another supervisor.
inline constexpr const char* supervisedApplicationVariable = "WORDLOOM_SUPERVISED";

/// The exit status with which a started program reports that it could not be executed.
inline constexpr int cannotExecuteStatus = 127;

/// Runs `command` (program path first) as a child process and starts it again when it ended
/// because the X display went away (the X server restarted) or asked to start again: the
/// display is waited for, with the reason logged, instead of failing. SIGTERM and SIGINT are
/// passed on to the child. Returns when the child quits normally, cannot be executed, or on
/// SIGTERM/SIGINT.
///
/// The supervisor stays a small process of its own: it loads none of the application's
/// libraries and none of its data, and only the child holds those.
/// Why the X display named by $DISPLAY cannot be used now, or nullopt when it answers.
std::optional<std::string> x11DisplayProblem();

using DisplayCheck = std::function<std::optional<std::string>()>;

int superviseApplication(const std::vector<std::string>& command,
                         const DisplayCheck& displayProblem = x11DisplayProblem);

}  // namespace wordloom
