#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace wordloom {

/// The thread that starts helper processes (and the zygote).
///
/// A helper arranges to be killed when its parent ends (PR_SET_PDEATHSIG), so it never outlives
/// the application, but the kernel ties that to the thread that started it, not to the process.
/// Starts happen wherever a run is dispatched, which may be the watcher thread of another helper
/// that is about to end; starting them all from this thread, which lives as long as the pool,
/// keeps a helper from being killed along with an unrelated thread.
class JSHelperProcessLauncher {
  public:
    JSHelperProcessLauncher();
    ~JSHelperProcessLauncher();
    JSHelperProcessLauncher(const JSHelperProcessLauncher&) = delete;
    JSHelperProcessLauncher& operator=(const JSHelperProcessLauncher&) = delete;

    /// Runs `start` on the launcher thread and returns once it has run, passing on what it
    /// throws. Starting a process takes well under a millisecond of this thread.
    void run(const std::function<void()>& start);

  private:
    struct Job;
    void loop();

    std::mutex mutex_;
    std::condition_variable wake_;
    std::deque<Job*> jobs_;
    bool stopping_ = false;
    std::thread thread_;
};

}  // namespace wordloom
