#include "ui/PanelPlacement.h"

#include <QCursor>
#include <QGuiApplication>
#include <QScreen>
#include <QWidget>

namespace wordloom {

void centreOnScreenWithMouse(QWidget& panel) {
    QScreen* screen = QGuiApplication::screenAt(QCursor::pos());
    if (!screen) {
        screen = QGuiApplication::primaryScreen();
    }
    if (!screen) {
        return;
    }
    const QRect area = screen->availableGeometry();
    const QSize size = panel.size();
    panel.move(area.x() + (area.width() - size.width()) / 2,
               area.y() + (area.height() - size.height()) / 3);
}

}  // namespace wordloom
