#pragma once

#include <QSocketNotifier>
#include <QTimer>
#include <memory>

#include "core/expansion/DesktopServices.h"

struct _XDisplay;

namespace wordloom {

/// The active window's application, followed through _NET_ACTIVE_WINDOW. Without a window
/// manager that keeps that property, the input focus is checked twice a second instead.
class X11FrontmostApplicationMonitor final : public FrontmostApplicationMonitor {
  public:
    X11FrontmostApplicationMonitor();
    ~X11FrontmostApplicationMonitor() override;
    X11FrontmostApplicationMonitor(const X11FrontmostApplicationMonitor&) = delete;
    X11FrontmostApplicationMonitor& operator=(const X11FrontmostApplicationMonitor&) = delete;

    std::optional<std::string> frontmostApplicationId() override;
    /// The active window's process (its _NET_WM_PID), when it tells.
    std::optional<long> activeWindowProcessId();
    /// The active window's id as text, or nullopt.
    std::optional<std::string> activeWindowIdentity();

  private:
    void refresh();
    void processEvents();

    _XDisplay* display_ = nullptr;
    bool broken_ = false;
    std::optional<std::string> current_;
    unsigned long currentWindow_ = 0;
    std::unique_ptr<QSocketNotifier> notifier_;
    QTimer focusPoll_;
};

}  // namespace wordloom
