#pragma once
// The whole window as main opens it, on the emulated hardware, in a fresh working folder
// with every dialog answered; and a user's hands: transport buttons, beam tracks picked
// with a click and steered with the mouse on the two displays.

#include "app/CZircApp.h"
#include "beamformer/CKorvane.h"
#include "beamformer/CZirc.h"
#include "core/graph/CAudioGraph.h"
#include "device/vkHost.h"
#include "tests/app/AppTestSupport.h"
#include "tests/device/CFakeDriver.h"
#include "widgets/CAudioTransport.h"
#include "widgets/CBeamDisplayAzimuth.h"
#include "widgets/CBeamDisplayElevation.h"
#include "widgets/CBeamSelection.h"
#include "widgets/vkPolarView.h"

#include <QPushButton>
#include <QTest>

#include <cmath>
#include <memory>
#include <numbers>
#include <optional>

class MainWindowFixture : public ::testing::Test {
protected:
    void TearDown() override
    {
        app.reset();
        hostInit();
    }
    // The window as main opens it, on the emulated hardware (no ini file: emulation on).
    void open()
    {
        fake.config.names.clear();
        app = std::make_unique<CZircApp>();
        app->resize(app->sizeHint());
        app->show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(app.get()));
    }
    void press(CAudioTransport::Button which) { app->transport()->button(which)->click(); }
    // The widget pixel of an azimuth, at radius 45 in the display's window units.
    QPoint azimuthAt(double degrees) const
    {
        const double a = degrees * std::numbers::pi / 180.0;
        return app->azimuthDisplay()->toWidget(QPointF(45.0 * std::cos(a), -45.0 * std::sin(a))).toPoint();
    }
    void drag(double from, double to)
    {
        QTest::mousePress(app->azimuthDisplay(), Qt::LeftButton, {}, azimuthAt(from));
        QTest::mouseMove(app->azimuthDisplay(), azimuthAt((from + to) / 2));
        QTest::mouseMove(app->azimuthDisplay(), azimuthAt(to));
        QTest::mouseRelease(app->azimuthDisplay(), Qt::LeftButton, {}, azimuthAt(to));
    }
    void pick(int track) { QTest::mouseClick(app->beamSelection()->track(track), Qt::LeftButton, {}, QPoint(2, 2)); }
    // Points a track at whole degrees as a user does: a click on its row, a click on the
    // azimuth display and one on the elevation display.
    void steer(int track, int phi, int theta)
    {
        pick(track);
        ASSERT_EQ(app->beamSelection()->activeTrack(), track);
        // Azimuth is the window angle; elevation is 90 less it, the lower half negative.
        const std::optional<QPoint> a = clickPoint([phi](float angle) { return int(angle) == phi; });
        const std::optional<QPoint> e = clickPoint([theta](float angle) {
            return int(90.0f - (angle > 180.0f ? angle - 360.0f : angle)) == theta;
        });
        ASSERT_TRUE(a && e);
        ASSERT_GE(pixelsPerUnit(app->azimuthDisplay()), 2.0);
        ASSERT_GE(pixelsPerUnit(app->elevationDisplay()), 2.0);
        QTest::mouseClick(app->azimuthDisplay(), Qt::LeftButton, {}, app->azimuthDisplay()->toWidget(*a).toPoint());
        QTest::mouseClick(app->elevationDisplay(), Qt::LeftButton, {}, app->elevationDisplay()->toWidget(*e).toPoint());
    }
    float graphPhi(int beam) const { return app->graph()->beamformer()->engine()->mbf(beam)->phiDegrees(); }
    float graphTheta(int beam) const { return app->graph()->beamformer()->engine()->mbf(beam)->thetaDegrees(); }

    apptest::WorkingDirectory dir;
    DialogAnswers dialogs;
    CFakeBackend fake;
    std::unique_ptr<CZircApp> app;

private:
    // Both displays read a click as the angle of the nearest whole window unit and keep
    // whole degrees by truncation. A click aims at the first lattice point 35 to 40 units
    // from the centre (inside either display's rim) that gives the wanted degrees; with two
    // pixels or more a unit, the pixel of a unit's centre maps back to that unit.
    template <typename Display>
    static double pixelsPerUnit(const Display* display)
    {
        return display->toWidget(QPointF(1.0, 0.0)).x() - display->toWidget(QPointF(0.0, 0.0)).x();
    }
    template <typename Gives>
    static std::optional<QPoint> clickPoint(Gives gives)
    {
        for (int x = -40; x <= 40; ++x)
            for (int y = -40; y <= 40; ++y) {
                const double r = std::hypot(x, y);
                const std::optional<float> angle = vkPolarView::mouseAngle(QPoint(x, y));
                if (r >= 35.0 && r <= 40.0 && angle && gives(*angle))
                    return QPoint(x, y);
            }
        return std::nullopt;
    }
};
