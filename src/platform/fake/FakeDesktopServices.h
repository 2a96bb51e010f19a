#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "core/expansion/DesktopServices.h"
#include "core/expansion/ExpansionLibrary.h"
#include "core/expansion/KeyboardMonitor.h"

namespace wordloom {

/// A keyboard monitor the test types into.
class FakeKeyboardMonitor final : public KeyboardMonitor {
  public:
    void start() override { monitoring_ = true; }
    void stop() override { monitoring_ = false; }
    bool isMonitoring() const override { return monitoring_; }

    /// One key-down per character; " ", "\n" and "\t" arrive as special keys like real ones.
    void type(const std::string& text);
    void press(SpecialKey key) { dispatch({key, false, ""}); }
    void pressModified(const std::string& text) { dispatch({std::nullopt, true, text}); }

  private:
    bool monitoring_ = false;
};

class FakeFrontmostApplication final : public FrontmostApplicationMonitor {
  public:
    std::optional<std::string> frontmostApplicationId() override { return current; }
    void activate(std::optional<std::string> id) {
        current = std::move(id);
        if (onApplicationActivated)
            onApplicationActivated(current);
    }
    std::optional<std::string> current;
};

class FakeMouseClickMonitor final : public MouseClickMonitor {
  public:
    void start(std::function<void()> onClick) override { onClick_ = std::move(onClick); }
    void stop() override { onClick_ = nullptr; }
    bool isActive() const override { return onClick_ != nullptr; }
    void click() {
        if (onClick_)
            onClick_();
    }

  private:
    std::function<void()> onClick_;
};

class FakeSoundPlayer final : public SoundPlayer {
  public:
    void play(const std::string& soundName) override { played.push_back(soundName); }
    std::vector<std::string> played;
};

class FakeNotificationPresenter final : public NotificationPresenter {
  public:
    struct Shown {
        NotificationKind kind;
        std::string label;
        bool popup;
    };
    void show(NotificationKind kind, const std::string& label, bool popup) override {
        shown.push_back({kind, label, popup});
    }
    std::vector<Shown> shown;
};

/// Answers the form with `answer` (by field name), or cancels it when `cancel` is set.
class FakeFillInFormPresenter final : public FillInFormPresenter {
  public:
    void present(const std::string& title, const std::vector<FillInField>& fields,
                 std::function<void(std::optional<std::vector<FillInField>>)> done) override;
    std::map<std::string, std::string> answer;
    bool cancel = false;
    std::vector<std::vector<FillInField>> presented;
};

/// A library in memory.
class FakeExpansionLibrary final : public ExpansionLibrary {
  public:
    std::optional<Snippet> snippetWithAbbreviation(const std::string& abbreviation) override;
    /// Looks through a copy of `snippets` taken when asked for.
    SnippetLookup nestedSnippetLookup() override;
    void recordUse(const Uuid& snippetId) override { ++uses[snippetId]; }
    std::optional<Bytes> imageData(const Snippet& snippet) override;

    std::vector<Snippet> snippets;
    std::map<Uuid, Bytes> images;
    std::map<Uuid, int> uses;
};

}  // namespace wordloom
