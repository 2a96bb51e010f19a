#include "core/macros/JSHelperProcessLauncher.h"

#include <exception>

namespace wordloom {

struct JSHelperProcessLauncher::Job {
    const std::function<void()>* start;
    std::exception_ptr failure;
    bool done = false;
};

JSHelperProcessLauncher::JSHelperProcessLauncher() : thread_([this] { loop(); }) {}

JSHelperProcessLauncher::~JSHelperProcessLauncher() {
    {
        std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_all();
    thread_.join();
}

void JSHelperProcessLauncher::run(const std::function<void()>& start) {
    if (std::this_thread::get_id() == thread_.get_id()) {
        start();
        return;
    }
    Job job{&start, nullptr};
    std::unique_lock lock(mutex_);
    jobs_.push_back(&job);
    wake_.notify_all();
    wake_.wait(lock, [&job] { return job.done; });
    if (job.failure) {
        std::rethrow_exception(job.failure);
    }
}

void JSHelperProcessLauncher::loop() {
    std::unique_lock lock(mutex_);
    for (;;) {
        wake_.wait(lock, [this] { return stopping_ || !jobs_.empty(); });
        if (jobs_.empty()) {
            return;
        }
        Job* job = jobs_.front();
        jobs_.pop_front();
        lock.unlock();
        try {
            (*job->start)();
        } catch (...) {
            job->failure = std::current_exception();
        }
        lock.lock();
        job->done = true;
        wake_.notify_all();
    }
}

}  // namespace wordloom
