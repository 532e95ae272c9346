#pragma once
// A QApplication for the GoogleTest runner, and helpers for probing grabbed pictures.

#include <QApplication>
#include <QColor>
#include <QImage>
#include <QTest>
#include <QWidget>

#include <memory>

#include <gtest/gtest.h>

namespace widgettest {

// The application lives from before the first test to after the last, and goes before
// the program's static objects do.
struct ApplicationEnvironment : ::testing::Environment {
    void SetUp() override
    {
        static int argc = 1;
        static char name[] = "widgets_tests";
        static char* argv[] = {name, nullptr};
        application = std::make_unique<QApplication>(argc, argv);
    }
    void TearDown() override { application.reset(); }
    std::unique_ptr<QApplication> application;
};
inline ::testing::Environment* const kApplication = ::testing::AddGlobalTestEnvironment(new ApplicationEnvironment);

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

} // namespace widgettest
