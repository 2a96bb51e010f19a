#pragma once

#include <sys/types.h>

#include <memory>
#include <mutex>

#include "core/macros/JSHelperProcess.h"
#include "core/macros/JSHelperProcessLauncher.h"

namespace wordloom {

/// Our side of a wordloom-jsrunner zygote (see jsrunner::kZygoteArgument): a helper process
/// that has loaded the engine's libraries and forks fresh helpers on request. Program start and
/// library loading are most of what a cold helper costs; a helper forked from the zygote skips
/// them but still starts its own engine and sandbox, and has never run a script.
///
/// The zygote holds about 1.3 MB of private memory (the rest of its pages are the shared
/// libraries' and can be dropped by the system), so it is kept for the runner's life.
class JSHelperProcessZygote {
  public:
    /// The zygote is started on `launcher`'s thread. `replyTimeoutMs` bounds how long fork()
    /// waits for the zygote, its own start included.
    JSHelperProcessZygote(JSHelperLaunch launch, JSHelperProcessLauncher& launcher,
                          int replyTimeoutMs = 500);
    /// Stops the zygote, and with it every helper it forked: they die with their parent, as
    /// directly started helpers die with the application.
    ~JSHelperProcessZygote();
    JSHelperProcessZygote(const JSHelperProcessZygote&) = delete;
    JSHelperProcessZygote& operator=(const JSHelperProcessZygote&) = delete;

    /// Starts the zygote unless it runs; returns at once, the zygote loads in parallel. False
    /// (and logged) when it cannot start.
    bool start();

    /// A fresh helper from the zygote (started first if need be), or nullptr when the zygote
    /// cannot give one within the time-out. A zygote that failed (gone, silent past the time-out,
    /// or breaking its protocol) is stopped, and with it the helpers it forked; the next call
    /// starts another.
    std::shared_ptr<JSHelperProcess> fork();

    /// Stops the zygote if it runs.
    void stop();

    bool isRunning() const;
    /// The zygote's pid, or -1.
    pid_t pid() const;

  private:
    bool startLocked();
    void stopLocked();
    std::shared_ptr<JSHelperProcess> forkLocked(bool& zygoteFailed);

    const JSHelperLaunch launch_;
    JSHelperProcessLauncher& launcher_;
    const int replyTimeoutMs_;
    mutable std::mutex mutex_;
    pid_t pid_ = -1;
    int channel_ = -1;
};

}  // namespace wordloom
