#pragma once

#include <chrono>
#include <functional>
#include <memory>

#include "core/base/Executor.h"

namespace wordloom {

/// Keeps an accessibility trust flag current: checks once at start, then every 1.5 s while the
/// check fails, and stops polling once it passes. The grant callback runs once per process, on
/// the first transition from not trusted to trusted, whether a poll or an outside signal
/// (recheck()) noticed it.
class TrustPoller {
  public:
    static constexpr Duration pollInterval = std::chrono::milliseconds(1500);

    TrustPoller(Executor& executor, std::function<bool()> trustCheck);
    ~TrustPoller();
    TrustPoller(const TrustPoller&) = delete;
    TrustPoller& operator=(const TrustPoller&) = delete;

    bool isTrusted() const { return trusted_; }
    bool isRestartingForAccessibility() const { return grantHandled_; }
    bool recheck();
    void setOnGranted(std::function<void()> callback) { onGranted_ = std::move(callback); }
    /// Called whenever the flag changes.
    std::function<void(bool)> onChanged;
    bool isPolling() const { return poll_.isValid() && !poll_.isCancelled(); }

  private:
    void schedulePoll();

    Executor& executor_;
    std::function<bool()> trustCheck_;
    std::function<void()> onGranted_;
    bool trusted_ = false;
    bool grantHandled_ = false;
    ScheduledTask poll_;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace wordloom
