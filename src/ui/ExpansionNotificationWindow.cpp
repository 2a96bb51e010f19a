#include "ui/ExpansionNotificationWindow.h"

#include <QGuiApplication>
#include <QScreen>

namespace wordloom {

QtNotificationPresenter::QtNotificationPresenter() {
    hideTimer_.setSingleShot(true);
    QObject::connect(&hideTimer_, &QTimer::timeout, [this] {
        if (window_)
            window_->hide();
    });
}

QtNotificationPresenter::~QtNotificationPresenter() = default;

void QtNotificationPresenter::show(NotificationKind kind, const std::string& snippetLabel,
                                   bool popup) {
    if (!window_) {
        window_ = std::make_unique<QLabel>(
            nullptr, Qt::ToolTip | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint |
                         Qt::WindowDoesNotAcceptFocus | Qt::X11BypassWindowManagerHint);
        window_->setAttribute(Qt::WA_ShowWithoutActivating);
        window_->setObjectName("WordloomExpansionNotification");
        window_->setStyleSheet(
            "QLabel { background: rgba(40,40,40,230); color: white; border-radius: 8px; }");
    }
    const QString verb = kind == NotificationKind::copy ? "Copied" : "Expanded";
    const QString name = QString::fromStdString(snippetLabel);
    window_->setText(popup ? QString("<b>%1</b><br>%2").arg(verb, name.toHtmlEscaped())
                           : QString("%1 %2").arg(verb, name.toHtmlEscaped()));
    window_->setContentsMargins(popup ? 18 : 8, popup ? 12 : 4, popup ? 18 : 8, popup ? 12 : 4);
    QFont font = window_->font();
    font.setPointSize(popup ? 13 : 9);
    window_->setFont(font);
    window_->adjustSize();
    if (const QScreen* screen = QGuiApplication::primaryScreen()) {
        const QRect area = screen->availableGeometry();
        const QSize size = window_->size();
        window_->move(
            popup ? QPoint(area.center().x() - size.width() / 2, area.top() + 60)
                  : QPoint(area.right() - size.width() - 16, area.bottom() - size.height() - 16));
    }
    window_->show();
    hideTimer_.start(popup ? 2500 : 1200);
}

}  // namespace wordloom
