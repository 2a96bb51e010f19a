#pragma once

#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "core/base/Executor.h"

namespace wordloom {

/// Runs `write` off the main queue, then hands its failure message (nothing on success) to
/// `done` on the main queue, unless the owner watched through `alive` is gone by then. `write`
/// must capture only what outlives the owner (the persistence service, snapshots).
inline void writeInBackground(Executor& executor, std::weak_ptr<bool> alive,
                              std::function<void()> write,
                              std::function<void(const std::optional<std::string>& failure)> done) {
    executor.runInBackground(
        [&executor, alive = std::move(alive), write = std::move(write), done = std::move(done)] {
            std::optional<std::string> failure;
            try {
                write();
            } catch (const std::exception& error) {
                failure = error.what();
            }
            executor.post([alive, done, failure] {
                if (!alive.expired()) {
                    done(failure);
                }
            });
        });
}

/// Runs `load` off the main queue, then hands its value (or its failure message) to `done` on
/// the main queue, unless the owner watched through `alive` is gone by then. `load` must capture
/// only what outlives the owner.
template <typename T>
void loadInBackground(
    Executor& executor, std::weak_ptr<bool> alive, std::function<T()> load,
    std::function<void(T loaded, const std::optional<std::string>& failure)> done) {
    executor.runInBackground(
        [&executor, alive = std::move(alive), load = std::move(load), done = std::move(done)] {
            T loaded{};
            std::optional<std::string> failure;
            try {
                loaded = load();
            } catch (const std::exception& error) {
                failure = error.what();
            }
            executor.post([alive, done, loaded = std::move(loaded), failure]() mutable {
                if (!alive.expired()) {
                    done(std::move(loaded), failure);
                }
            });
        });
}

}  // namespace wordloom
