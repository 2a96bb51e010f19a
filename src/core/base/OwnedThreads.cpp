#include "core/base/OwnedThreads.h"

#include <utility>
#include <vector>

namespace wordloom {

OwnedThreads::~OwnedThreads() {
    std::unique_lock lock(mutex_);
    closed_ = true;
    for (auto& entry : entries_) {
        entry.thread.request_stop();
    }
    ended_.wait(lock, [&] { return running_ == 0; });
    joinEnded(lock);
}

void OwnedThreads::joinEnded(std::unique_lock<std::mutex>& lock) {
    std::vector<std::jthread> finished;
    for (auto entry = entries_.begin(); entry != entries_.end();) {
        if (entry->ended) {
            finished.push_back(std::move(entry->thread));
            entry = entries_.erase(entry);
        } else {
            ++entry;
        }
    }
    // A thread that marked itself ended has only its return left: joined off the lock.
    lock.unlock();
    finished.clear();
    lock.lock();
}

bool OwnedThreads::start(Work work) {
    std::unique_lock lock(mutex_);
    joinEnded(lock);
    if (closed_ || running_ >= limit_) {
        return false;
    }
    auto& entry = entries_.emplace_back();
    ++running_;
    entry.thread = std::jthread([this, &entry, work = std::move(work)](std::stop_token stop) {
        try {
            work(std::move(stop));
        } catch (...) {
            // The work reports its own errors; a thread must not end the process.
        }
        std::lock_guard guard(mutex_);
        entry.ended = true;
        --running_;
        ended_.notify_all();
    });
    return true;
}

bool OwnedThreads::stopAndJoin(std::chrono::milliseconds limit) {
    std::unique_lock lock(mutex_);
    closed_ = true;
    for (auto& entry : entries_) {
        entry.thread.request_stop();
    }
    const bool allEnded = ended_.wait_for(lock, limit, [&] { return running_ == 0; });
    joinEnded(lock);
    return allEnded;
}

std::size_t OwnedThreads::running() const {
    std::lock_guard lock(mutex_);
    return running_;
}

}  // namespace wordloom
