#pragma once

#include <optional>
#include <string>

namespace wordloom {

/// One Wordloom per display and user: an exclusive lock on a file in the runtime folder, held
/// for the life of the process (not inherited by programs it starts).
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

    /// "Wordloom is already running (process N).", for when the lock was not acquired.
    std::string alreadyRunningMessage() const;

  private:
    int fd_ = -1;
    bool acquired_ = false;
    std::optional<long> holder_;
};

}  // namespace wordloom
