#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "core/base/Executor.h"
#include "core/base/Log.h"
#include "core/expansion/AccessibilityService.h"
#include "core/expansion/TrustPoller.h"

namespace wordloom {

/// Accessibility through AT-SPI2. "Trusted" means the session's accessibility bus answers and
/// the desktop's accessibility support is turned on (org.a11y.Status.IsEnabled); the check is
/// repeated every 1.5 s until both hold, and at once whenever the bus announces that the
/// status changed. libatspi is only initialised once the bus answered
/// within 200 ms (it aborts or blocks for long without one), and every call carries a 100 ms
/// time-out.
///
/// The focused element is followed through focus events and cached with its role, so a
/// keystroke costs no round trip. When the active window belongs to a program that does not
/// speak AT-SPI (xterm), the window itself stands in for the focused element.
class AtspiAccessibilityService final : public AccessibilityService {
  public:
    /// `activeWindowProcess` returns the process id of the active window, when known.
    AtspiAccessibilityService(Executor& executor,
                              std::function<std::optional<long>()> activeWindowProcess,
                              std::function<std::optional<std::string>()> activeWindowIdentity);
    ~AtspiAccessibilityService() override;

    bool isAccessibilityEnabled() const override;
    bool recheckTrust() override;
    void setOnAccessibilityGranted(std::function<void()> callback) override;
    std::optional<FocusedElement> focusedElement() override;
    std::optional<std::string> selectedText() override;
    std::optional<std::size_t> caretOffset() override;
    bool setCaretOffset(std::size_t offset) override;

    /// Why the service is not trusted, for the user: what to turn on.
    std::string waitingReason() const;

    /// Called when the accessibility bus went away. libatspi keeps its first connection for the
    /// life of the process, so the app restarts to reach the new bus.
    std::function<void()> onBusLost;

    /// Instructions shown to the user to turn on the desktop's accessibility support.
    static const char* enableInstructions();

    struct Focus;

  private:
    bool checkTrust();
    void watchStatus();
    void statusChanged();
    bool ensureAtspi();
    Focus* currentFocus();
    void accessibilityBusLost();
    bool speaksAtspi(long process);
    bool recoverFocus(long process);
    void clearApplications();

    Executor& executor_;
    std::function<std::optional<long>()> activeWindowProcess_;
    std::function<std::optional<std::string>()> activeWindowIdentity_;
    Logger logger_{"AccessibilityService"};
    std::string waitingReason_;
    bool atspiReady_ = false;
    void* listener_ = nullptr;
    unsigned int busWatch_ = 0;
    void* sessionBus_ = nullptr;  // GDBusConnection of the status subscription
    unsigned int statusSubscription_ = 0;
    std::map<long, void*> applications_;  // AtspiAccessible of each program, by process
    long lastSearchProcess_ = -1;
    std::chrono::steady_clock::time_point lastSearch_{};
    std::chrono::steady_clock::time_point applicationsReadAt_{};
    std::unique_ptr<Focus> focus_;
    std::unique_ptr<TrustPoller> poller_;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace wordloom
