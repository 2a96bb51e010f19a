#pragma once

#include <string>

#include "app/desktop/DesktopApplication.h"
#include "app/desktop/supervisor/ApplicationSupervisor.h"
#include "app/desktop/supervisor/InstanceLock.h"

namespace wordloom {

/// Replaces this process with wordloom-supervisor (installed next to this program), which runs
/// this program's command line again as the application process and starts it again when the
/// X display goes away and comes back. The supervisor takes the instance lock itself, so the
/// caller's lock may be released by the exec. Returns only when the supervisor cannot be run.
int superviseDesktopApplication();

/// The application process the supervisor started: runs the desktop application on
/// `location`. Takes no lock; the supervisor holds it.
int runSupervisedDesktopApplication(const DesktopLocation& location,
                                    const std::string& programName);

}  // namespace wordloom
