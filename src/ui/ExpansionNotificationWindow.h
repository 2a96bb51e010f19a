#pragma once

#include <QLabel>
#include <QTimer>
#include <memory>

#include "core/expansion/DesktopServices.h"

namespace wordloom {

/// A small window telling that a snippet was expanded (or copied). It never takes focus and
/// never steals a key: it is a tool tip style window that goes away by itself. The subtle
/// presentation is a small label in the bottom-right corner for about a second; the popup is
/// larger, near the top centre, for two and a half seconds.
class QtNotificationPresenter final : public NotificationPresenter {
  public:
    QtNotificationPresenter();
    ~QtNotificationPresenter() override;
    void show(NotificationKind kind, const std::string& snippetLabel, bool popup) override;

  private:
    std::unique_ptr<QLabel> window_;
    QTimer hideTimer_;
};

}  // namespace wordloom
