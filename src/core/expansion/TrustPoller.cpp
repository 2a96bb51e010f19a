#include "core/expansion/TrustPoller.h"

namespace wordloom {

TrustPoller::TrustPoller(Executor& executor, std::function<bool()> trustCheck)
    : executor_(executor), trustCheck_(std::move(trustCheck)) {
    trusted_ = trustCheck_();
    if (!trusted_) {
        schedulePoll();
    }
}

TrustPoller::~TrustPoller() {
    *alive_ = false;
    poll_.cancel();
}

void TrustPoller::schedulePoll() {
    if (isPolling()) {
        return;
    }
    poll_ = executor_.postAfter(pollInterval, [this, alive = alive_] {
        if (!*alive) {
            return;
        }
        poll_ = ScheduledTask();
        recheck();
    });
}

bool TrustPoller::recheck() {
    const bool wasTrusted = trusted_;
    trusted_ = trustCheck_();
    if (trusted_ != wasTrusted && onChanged) {
        onChanged(trusted_);
    }
    if (!trusted_) {
        schedulePoll();
        return false;
    }
    poll_.cancel();
    poll_ = ScheduledTask();
    if (!wasTrusted && !grantHandled_) {
        grantHandled_ = true;
        if (onGranted_) {
            onGranted_();
        }
    }
    return true;
}

}  // namespace wordloom
