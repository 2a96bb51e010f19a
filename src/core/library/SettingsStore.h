#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "core/base/Executor.h"
#include "core/base/ObserverList.h"
#include "core/library/AppSettings.h"

namespace wordloom {

class PersistenceService;

/// Owns the live AppSettings and keeps settings.json in step with it. Lives on the main queue.
/// Usable before its background load finishes; a change made in that window wins over the file.
class SettingsStore {
  public:
    SettingsStore(Executor& executor, PersistenceService& persistence);
    ~SettingsStore();
    SettingsStore(const SettingsStore&) = delete;
    SettingsStore& operator=(const SettingsStore&) = delete;

    void startHydration();
    bool isHydrated() const;
    const std::optional<std::string>& lastError() const;

    /// The current settings; read them each time, never keep a copy.
    const AppSettings& settings() const;

    /// Applies `change` to the settings; every field it altered is marked changed, announced and
    /// saved (debounced).
    void update(const std::function<void(AppSettings&)>& change);

    /// Sets the whole record (backup restore, import).
    void replaceAll(AppSettings settings);

    /// Writes a pending save now.
    void flush();

    [[nodiscard]] Subscription observeChanges(std::function<void()> observer);

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace wordloom
