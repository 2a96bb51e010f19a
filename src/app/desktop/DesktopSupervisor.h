#pragma once

#include <iosfwd>
#include <optional>
#include <string>

#include "app/desktop/DesktopApplication.h"

namespace wordloom {

/// One Wordloom per display and user: an exclusive lock on a file in the runtime folder, held
/// for the life of the process.
class InstanceLock {
  public:
    /// Takes the lock for `display`; check acquired().
    explicit InstanceLock(const std::string& display);
    ~InstanceLock();
    InstanceLock(const InstanceLock&) = delete;
    InstanceLock& operator=(const InstanceLock&) = delete;

    bool acquired() const { return acquired_; }
    /// The process holding the lock when it was not acquired, if it said.
    std::optional<long> holder() const { return holder_; }

  private:
    int fd_ = -1;
    bool acquired_ = false;
    std::optional<long> holder_;
};

/// Runs the desktop application in a child process and starts it again when it ended because
/// the X display went away (the X server restarted): the display is waited for, with the reason
/// logged, instead of failing. Ends when the application quits normally or on SIGTERM/SIGINT.
int superviseDesktopApplication(const DesktopLocation& location, const std::string& programName);

}  // namespace wordloom
