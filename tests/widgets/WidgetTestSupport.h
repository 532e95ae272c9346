#pragma once
// A QApplication for the GoogleTest runner, and helpers for probing grabbed pictures.

#include "tests/support/GuiApplication.h"

#include <QApplication>
#include <QColor>
#include <QImage>
#include <QTest>
#include <QWidget>

namespace widgettest {

// Shows a widget at a size and waits until it is laid out and exposed.
inline bool showAt(QWidget& w, int width, int height)
{
    w.resize(width, height);
    w.show();
    const bool exposed = QTest::qWaitForWindowExposed(&w);
    QApplication::processEvents();
    return exposed;
}

inline QColor pixel(QWidget& w, QPointF at)
{
    const QImage image = w.grab().toImage();
    const qreal ratio = image.devicePixelRatio();
    return image.pixelColor(static_cast<int>(at.x() * ratio), static_cast<int>(at.y() * ratio));
}

// Degrees from `degrees` to the nearest axis of a display (a multiple of 90).
inline int nearAxis(int degrees)
{
    const int r = ((degrees % 90) + 90) % 90;
    return r < 45 ? r : 90 - r;
}

} // namespace widgettest
