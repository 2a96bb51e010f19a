#pragma once

#include <QSocketNotifier>
#include <memory>

#include "core/expansion/DesktopServices.h"

struct _XDisplay;

namespace wordloom {

/// Mouse-button presses anywhere, from XInput2 raw events on the root window: nothing is
/// grabbed. Scroll "buttons" (4 to 7) are not clicks.
class X11MouseClickMonitor final : public MouseClickMonitor {
  public:
    X11MouseClickMonitor() = default;
    ~X11MouseClickMonitor() override;

    void start(std::function<void()> onClick) override;
    void stop() override;
    bool isActive() const override { return display_ != nullptr; }

  private:
    void processEvents();

    _XDisplay* display_ = nullptr;
    bool broken_ = false;
    int opcode_ = 0;
    std::function<void()> onClick_;
    std::unique_ptr<QSocketNotifier> notifier_;
};

}  // namespace wordloom
