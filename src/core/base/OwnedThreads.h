#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <list>
#include <mutex>
#include <stop_token>
#include <thread>

namespace wordloom {

/// Threads with an owner: at most `limit` at a time, each asked to stop and joined by
/// stopAndJoin() (at the latest by the destructor), so none outlives what it uses. A thread
/// that ended is joined the next time one starts.
class OwnedThreads {
  public:
    using Work = std::function<void(std::stop_token)>;

    explicit OwnedThreads(std::size_t limit) : limit_(limit) {}
    /// Asks every thread to stop and waits for all of them, however long they take.
    ~OwnedThreads();
    OwnedThreads(const OwnedThreads&) = delete;
    OwnedThreads& operator=(const OwnedThreads&) = delete;

    /// Starts `work` on a thread of its own. False, and `work` does not run, when `limit`
    /// threads are still running or stopAndJoin() was called.
    bool start(Work work);

    /// Refuses new threads, asks the running ones to stop, and joins those that end within
    /// `limit`. True when none is left running.
    bool stopAndJoin(std::chrono::milliseconds limit);

    /// Threads started and not yet ended.
    std::size_t running() const;

  private:
    struct Entry {
        std::jthread thread;
        bool ended = false;
    };

    void joinEnded(std::unique_lock<std::mutex>& lock);

    const std::size_t limit_;
    mutable std::mutex mutex_;
    std::condition_variable ended_;
    std::list<Entry> entries_;
    std::size_t running_ = 0;
    bool closed_ = false;
};

}  // namespace wordloom
