#pragma once

#include <filesystem>

namespace wordloom {

/// An exclusive lock on one library's sync state (journal, record index, conflicts), so that
/// the app and a `wordloom sync` command never work on them at the same time. Held while the
/// object lives; released by the system if the process dies.
class SyncLock {
  public:
    static constexpr const char* fileName = "icloud-sync.lock";

    /// Tries once, without waiting. `isHeld()` tells whether it was had.
    explicit SyncLock(const std::filesystem::path& dataFolder);
    ~SyncLock();
    SyncLock(const SyncLock&) = delete;
    SyncLock& operator=(const SyncLock&) = delete;

    bool isHeld() const { return fd_ >= 0; }

  private:
    int fd_ = -1;
};

}  // namespace wordloom
