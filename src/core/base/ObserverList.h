#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <utility>

namespace wordloom {

/// Keeps an observer registered for as long as it lives. Moving it moves the registration.
class Subscription {
  public:
    Subscription() = default;
    explicit Subscription(std::function<void()> unsubscribe)
        : unsubscribe_(std::move(unsubscribe)) {}
    Subscription(Subscription&& other) noexcept
        : unsubscribe_(std::exchange(other.unsubscribe_, nullptr)) {}
    Subscription& operator=(Subscription&& other) noexcept {
        if (this != &other) {
            reset();
            unsubscribe_ = std::exchange(other.unsubscribe_, nullptr);
        }
        return *this;
    }
    Subscription(const Subscription&) = delete;
    Subscription& operator=(const Subscription&) = delete;
    ~Subscription() { reset(); }

    void reset() {
        if (unsubscribe_) {
            std::exchange(unsubscribe_, nullptr)();
        }
    }

  private:
    std::function<void()> unsubscribe_;
};

/// Observers of one announcement (such as "WordloomSnippetsDidChange"), called in the order
/// they subscribed. Single-threaded: used on the main queue. An observer may unsubscribe
/// itself or others while being notified.
template <typename... Args>
class ObserverList {
  public:
    using Observer = std::function<void(Args...)>;

    ObserverList() : state_(std::make_shared<State>()) {}

    [[nodiscard]] Subscription subscribe(Observer observer) {
        const auto id = state_->nextId++;
        state_->observers.emplace(id, std::move(observer));
        std::weak_ptr<State> weak = state_;
        return Subscription([weak, id] {
            if (auto state = weak.lock()) {
                state->observers.erase(id);
            }
        });
    }

    void notify(Args... args) const {
        // Copy, so observers may subscribe or unsubscribe while we walk the list.
        const auto observers = state_->observers;
        for (const auto& [id, observer] : observers) {
            if (state_->observers.count(id) != 0) {
                observer(args...);
            }
        }
    }

    std::size_t size() const { return state_->observers.size(); }

  private:
    struct State {
        std::uint64_t nextId = 0;
        std::map<std::uint64_t, Observer> observers;
    };
    std::shared_ptr<State> state_;
};

}  // namespace wordloom
