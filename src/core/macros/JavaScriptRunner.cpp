#include "core/macros/JavaScriptRunner.h"

#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <future>
#include <utility>

#include "core/base/EventLoopExecutor.h"
#include "core/base/FileIO.h"
#include "core/base/Log.h"

namespace wordloom {
namespace {

const Logger& logger() {
    static const Logger instance("JavaScriptRunner");
    return instance;
}

// The helper's own time limit sits past ours: it is a second line for when the application is
// gone, not what normally ends a script.
constexpr double kHelperTimeLimitMargin = 1.0;

JSHelperLaunch makeLaunch(const JavaScriptRunnerOptions& options) {
    JSHelperLaunch launch;
    launch.executable =
        options.helperPath.empty() ? JavaScriptRunner::defaultHelperPath() : options.helperPath;
    launch.arguments = options.helperArguments;
    launch.memoryLimitBytes = options.memoryLimitBytes;
    launch.memoryCheckIntervalMs = options.memoryCheckIntervalMs;
    return launch;
}

JavaScriptResult failure(JavaScriptError error) {
    JavaScriptResult result;
    result.error = std::move(error);
    return result;
}

JavaScriptResult resultOf(const JSHelperOutcome& outcome, std::size_t memoryLimitBytes) {
    switch (outcome.kind) {
        case JSHelperOutcome::Kind::terminated:
            return failure(
                JavaScriptError::executionFailed("Helper process terminated unexpectedly"));
        case JSHelperOutcome::Kind::memoryExceeded:
            return failure(JavaScriptError::executionFailed(
                "Script exceeded the memory limit of " +
                std::to_string(memoryLimitBytes / (1024 * 1024)) + " MB and was stopped"));
        case JSHelperOutcome::Kind::replied:
            break;
    }
    const JSRunnerReply& reply = *outcome.reply;
    if (!reply.errorMessage) {
        JavaScriptResult result;
        result.output = reply.output.value_or("");
        return result;
    }
    if (reply.errorKind == jsrunner::errorKind::invalidScript) {
        return failure(JavaScriptError::invalidScript());
    }
    if (reply.errorKind == jsrunner::errorKind::securityViolation) {
        return failure(JavaScriptError::securityViolation());
    }
    if (reply.errorKind == jsrunner::errorKind::timeout) {
        return failure(JavaScriptError::timeout());
    }
    return failure(JavaScriptError::executionFailed(*reply.errorMessage));
}

// A helper that answered normally can take the next script; one that hit its own time limit or
// its sandbox is on its way out.
bool canReuseAfter(const JSHelperOutcome& outcome) {
    if (outcome.kind != JSHelperOutcome::Kind::replied) {
        return false;
    }
    const std::string& kind = outcome.reply->errorKind;
    return kind != jsrunner::errorKind::securityViolation && kind != jsrunner::errorKind::timeout;
}

}  // namespace

struct JavaScriptRunner::Run {
    std::uint64_t id = 0;
    Timestamp start;
    JSRunnerRequest request;
    Completion completion;

    // Guarded by mutex: the reply, the deadline and the helper's death arrive on different
    // threads.
    std::mutex mutex;
    bool finished = false;
    bool holdsSlot = false;
    ScheduledTask deadline;
    std::shared_ptr<JSHelperProcess> helper;
};

JavaScriptRunner::JavaScriptRunner(JavaScriptRunnerOptions options, Executor* timers)
    : options_(std::move(options)),
      maxExecutionTime_(options_.maxExecutionTime),
      ownTimers_(timers == nullptr ? std::make_unique<EventLoopExecutor>(1) : nullptr),
      timers_(timers != nullptr ? *timers : *ownTimers_),
      slots_(options_.slotCount),
      pool_(makeLaunch(options_),
            JSHelperPoolOptions{options_.idleHelpers, options_.maxRunsPerHelper,
                                options_.idleHelperLifetime, options_.useZygote},
            timers_) {
    if (ownTimers_) {
        timerThread_ = std::thread([this] { ownTimers_->run(); });
    }
    if (options_.keepSpareHelper) {
        pool_.prewarm();
    }
}

JavaScriptRunner::~JavaScriptRunner() {
    cancelAll();
    if (ownTimers_) {
        // Asked from inside the loop: a stop() that came before run() began would be forgotten.
        ownTimers_->post([timers = ownTimers_.get()] { timers->stop(); });
        timerThread_.join();
    }
}

void JavaScriptRunner::cancelAll() {
    std::set<std::shared_ptr<Run>> active;
    {
        std::lock_guard lock(activeMutex_);
        active = active_;
    }
    for (const auto& run : active) {
        finish(run, failure(JavaScriptError::executionFailed("Wordloom is shutting down")), false);
    }
}

std::string JavaScriptRunner::defaultHelperPath() {
    if (const char* configured = std::getenv("WORDLOOM_JSRUNNER_PATH");
        configured != nullptr && *configured != '\0') {
        return configured;
    }
    return helperProgramPath("wordloom-jsrunner");
}

double JavaScriptRunner::secondsSince(Timestamp start) const {
    return std::chrono::duration<double>(timers_.now() - start).count();
}

void JavaScriptRunner::start(const std::string& script,
                             const std::map<std::string, std::string>& context,
                             const std::string& clipboardContents, Completion completion) {
    auto run = std::make_shared<Run>();
    run->id = nextRunId_++;
    run->start = timers_.now();
    run->completion = std::move(completion);
    const double budget = maxExecutionTime();
    run->request =
        JSRunnerRequest{script, context, clipboardContents, budget + kHelperTimeLimitMargin};
    {
        std::lock_guard lock(activeMutex_);
        active_.insert(run);
    }
    ScheduledTask deadline = timers_.postAfter(
        std::chrono::duration_cast<Duration>(std::chrono::duration<double>(budget)),
        [this, run] { finish(run, failure(JavaScriptError::timeout()), false); });
    {
        std::lock_guard lock(run->mutex);
        if (run->finished) {
            deadline.cancel();
            return;
        }
        run->deadline = deadline;
    }
    if (slots_.acquireOrWait(run->id, [this, run] { onSlotGranted(run); })) {
        onSlotGranted(run);
    }
}

JavaScriptResult JavaScriptRunner::execute(const std::string& script,
                                           const std::map<std::string, std::string>& context,
                                           const std::string& clipboardContents) {
    std::promise<JavaScriptResult> promise;
    std::future<JavaScriptResult> future = promise.get_future();
    start(script, context, clipboardContents,
          [&promise](JavaScriptResult result) { promise.set_value(std::move(result)); });
    return future.get();
}

void JavaScriptRunner::onSlotGranted(const std::shared_ptr<Run>& run) {
    bool holdsSlot = false;
    {
        std::lock_guard lock(run->mutex);
        if (!run->finished) {
            run->holdsSlot = holdsSlot = true;
        }
    }
    if (!holdsSlot) {
        // The run ended while the slot was on its way: pass it on.
        slots_.release();
        return;
    }
    dispatch(run);
}

void JavaScriptRunner::dispatch(const std::shared_ptr<Run>& run) {
    std::shared_ptr<JSHelperProcess> helper;
    try {
        helper = pool_.take();
    } catch (const std::exception& error) {
        logger().error(std::string("cannot start the script helper: ") + error.what());
        finish(run, failure(JavaScriptError::executionFailed("XPC proxy unavailable")), false);
        return;
    }
    bool stillRunning = false;
    {
        std::lock_guard lock(run->mutex);
        if (!run->finished) {
            run->helper = helper;
            stillRunning = true;
        }
    }
    if (!stillRunning) {
        pool_.giveBack(std::move(helper));
        return;
    }
    const std::optional<std::string> sendError = helper->send(
        run->request, [this, run](JSHelperOutcome outcome) { onOutcome(run, std::move(outcome)); });
    if (sendError) {
        finish(run, failure(JavaScriptError::executionFailed("XPC dispatch failed: " + *sendError)),
               false);
    }
}

void JavaScriptRunner::onOutcome(const std::shared_ptr<Run>& run, JSHelperOutcome outcome) {
    // The helper's own words say which call or name was refused; the user sees only the kind.
    if (outcome.reply && outcome.reply->errorKind == jsrunner::errorKind::securityViolation) {
        logger().info("script refused by the sandbox: " + outcome.reply->errorMessage.value_or(""));
    }
    const bool keepHelper = canReuseAfter(outcome);
    finish(run, resultOf(outcome, options_.memoryLimitBytes), keepHelper);
}

void JavaScriptRunner::finish(const std::shared_ptr<Run>& run, JavaScriptResult result,
                              bool keepHelper) {
    bool releaseSlot = false;
    std::shared_ptr<JSHelperProcess> helper;
    {
        std::lock_guard lock(run->mutex);
        if (run->finished) {
            return;
        }
        run->finished = true;
        run->deadline.cancel();
        releaseSlot = std::exchange(run->holdsSlot, false);
        helper = std::move(run->helper);
    }
    if (!releaseSlot) {
        slots_.cancelWait(run->id);
    }
    if (helper) {
        if (keepHelper) {
            pool_.giveBack(std::move(helper));
        } else {
            helper->kill();
            helper.reset();
        }
    }
    {
        std::lock_guard lock(activeMutex_);
        active_.erase(run);
    }
    if (releaseSlot) {
        slots_.release();
    }
    if (result.error) {
        result.output.clear();
        logger().debug("script failed: " + result.error->description());
    }
    result.executionTime = secondsSince(run->start);
    run->completion(std::move(result));
}

}  // namespace wordloom
