#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "core/base/Executor.h"
#include "core/macros/JSHelperPool.h"
#include "core/macros/JavaScriptExecuting.h"
#include "core/macros/RunnerSlots.h"

namespace wordloom {

class EventLoopExecutor;

struct JavaScriptRunnerOptions {
    /// The helper executable; see JavaScriptRunner::defaultHelperPath().
    std::string helperPath;
    /// Extra arguments for the helper (tests use them to switch on its sandbox probes).
    std::vector<std::string> helperArguments;
    /// The time budget of one run, in seconds, counted from the request's start.
    double maxExecutionTime = 5.0;
    /// How many scripts may run at once.
    std::size_t slotCount = 4;
    /// Resident memory above which a helper is killed and its script reported.
    std::size_t memoryLimitBytes = 512u * 1024 * 1024;
    int memoryCheckIntervalMs = 20;
    /// Helpers kept started between scripts.
    std::size_t idleHelpers = 2;
    /// Start a helper (and the zygote) when the runner is made, so the first script finds one.
    /// Without it, prepareAhead() does that when scripts become likely.
    bool keepSpareHelper = true;
    std::size_t maxRunsPerHelper = 200;
    /// An idle helper unused this long is stopped: it keeps the heap its scripts grew.
    Duration idleHelperLifetime = std::chrono::seconds(60);
    /// Start helpers from a zygote (a few milliseconds faster) rather than from nothing.
    bool useZygote = true;
};

/// Runs snippet scripts in wordloom-jsrunner helper processes.
///
/// At most `slotCount` scripts run at once; a request waits for a slot at most until its budget
/// runs out. The budget counts from the request's start: when it passes, the run ends with
/// `timeout` and its helper is killed, so a runaway script never keeps a slot. Whatever ends a
/// run first (reply, time-out, helper death, memory limit, failure to reach the helper) completes
/// it; everything after that is ignored.
class JavaScriptRunner final : public JavaScriptExecuting {
  public:
    using Completion = std::function<void(JavaScriptResult)>;

    /// What the snippet editor shows for a script that looks like it never ends.
    static constexpr const char* kRunawayScriptWarning =
        "This script appears to loop forever. Wordloom stops a script after 5 seconds and ends "
        "the helper process running it, so a runaway snippet only delays its own expansion.";

    /// `timers` tells the time and fires the deadlines and the retirement of idle helpers;
    /// without one the runner keeps a timer
    /// thread of its own. A given executor must fire its timers even while execute() blocks the
    /// thread that called it, so the application's main queue does not qualify.
    explicit JavaScriptRunner(JavaScriptRunnerOptions options, Executor* timers = nullptr);
    /// Ends the runs still in flight with an error and stops every helper.
    ~JavaScriptRunner() override;
    JavaScriptRunner(const JavaScriptRunner&) = delete;
    JavaScriptRunner& operator=(const JavaScriptRunner&) = delete;

    /// The helper next to the running program, unless WORDLOOM_JSRUNNER_PATH names another.
    static std::string defaultHelperPath();

    /// Starts the zygote and one helper ahead of need, so that the next script does not wait
    /// for a process to start. Returns false (and logs) when the helper cannot start.
    bool prepareAhead() { return pool_.prewarm(); }

    /// Ends every run in flight now with an error and stops its helper (quitting). Runs
    /// started afterwards are not affected.
    void cancelAll();

    double maxExecutionTime() const { return maxExecutionTime_.load(); }
    void setMaxExecutionTime(double seconds) { maxExecutionTime_.store(seconds); }

    /// Starts a run and returns at once; `completion` is called exactly once, on whichever thread
    /// ends the run (possibly this one, before start returns).
    void start(const std::string& script, const std::map<std::string, std::string>& context,
               const std::string& clipboardContents, Completion completion);

    JavaScriptResult execute(const std::string& script,
                             const std::map<std::string, std::string>& context,
                             const std::string& clipboardContents) override;

    std::size_t freeSlots() const { return slots_.available(); }
    std::size_t waitingRuns() const { return slots_.waiting(); }
    std::size_t idleHelpers() const { return pool_.idleCount(); }

  private:
    struct Run;
    void onSlotGranted(const std::shared_ptr<Run>& run);
    void dispatch(const std::shared_ptr<Run>& run);
    void onOutcome(const std::shared_ptr<Run>& run, JSHelperOutcome outcome);
    void finish(const std::shared_ptr<Run>& run, JavaScriptResult result, bool keepHelper);
    double secondsSince(Timestamp start) const;

    const JavaScriptRunnerOptions options_;
    std::atomic<double> maxExecutionTime_;
    std::unique_ptr<EventLoopExecutor> ownTimers_;
    std::thread timerThread_;
    Executor& timers_;
    RunnerSlots slots_;
    JSHelperPool pool_;
    std::atomic<std::uint64_t> nextRunId_{1};
    std::mutex activeMutex_;
    std::set<std::shared_ptr<Run>> active_;
};

}  // namespace wordloom
