#include "ui/TrayIconArt.h"

#include <QApplication>
#include <QPainter>
#include <QPainterPath>
#include <QPalette>
#include <QPixmap>

namespace wordloom {

namespace {

QPixmap draw(TrayState state, int size) {
    QPixmap pixmap(size, size);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.scale(size / 16.0, size / 16.0);
    // Symbolic: one colour, the one panels use for text, so it follows light and dark themes.
    const QColor ink = QApplication::palette().color(QPalette::WindowText);
    QColor faded = ink;
    faded.setAlphaF(0.45);
    const QColor line = state == TrayState::running ? ink : faded;

    // A loop of thread running into a line of text: the woven word.
    QPen pen(line, 1.6, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
    painter.setPen(pen);
    painter.setBrush(Qt::NoBrush);
    QPainterPath loop;
    loop.moveTo(1.5, 12.5);
    loop.cubicTo(1.5, 3.0, 9.0, 2.0, 8.0, 7.5);
    loop.cubicTo(7.2, 11.5, 3.5, 9.0, 6.0, 5.0);
    painter.drawPath(loop);
    painter.drawLine(QPointF(1.5, 12.5), QPointF(14.5, 12.5));
    painter.drawLine(QPointF(10.0, 9.0), QPointF(14.5, 9.0));

    painter.setPen(Qt::NoPen);
    painter.setBrush(ink);
    if (state == TrayState::paused) {
        painter.drawRoundedRect(QRectF(10.0, 1.0, 1.8, 6.0), 0.6, 0.6);
        painter.drawRoundedRect(QRectF(13.0, 1.0, 1.8, 6.0), 0.6, 0.6);
    } else if (state == TrayState::waitingForAccessibility) {
        painter.drawRoundedRect(QRectF(11.6, 0.8, 2.2, 4.6), 1.0, 1.0);
        painter.drawEllipse(QRectF(11.6, 6.0, 2.2, 2.2));
    }
    return pixmap;
}

}  // namespace

QIcon trayIcon(TrayState state) {
    QIcon icon;
    for (const int size : {16, 22, 24, 32, 48, 64}) {
        icon.addPixmap(draw(state, size));
    }
    return icon;
}

}  // namespace wordloom
