#pragma once
// The whole window as main opens it, on the emulated hardware, in a fresh working folder
// with every dialog answered; and a user's hands: transport buttons, beam tracks picked
// with a click and steered with the mouse on the two displays.

#include "app/CZircApp.h"
#include "beamformer/CKorvane.h"
#include "graph/CAudioGraph.h"
#include "device/vkHost.h"
#include "tests/app/AppTestSupport.h"
#include "tests/device/CFakeDriver.h"
#include "widgets/CAudioTransport.h"
#include "widgets/CBeamDisplayAzimuth.h"
#include "widgets/CBeamDisplayElevation.h"
#include "widgets/CBeamSelection.h"

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
    // The window as main opens it, on the emulated hardware (no ini file: emulation on),
    // at the size it asks for or at the size given.
    void open(QSize size = QSize())
    {
        fake.config.names.clear();
        app = std::make_unique<CZircApp>();
        app->resize(size.isValid() ? size : app->sizeHint());
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
        const std::optional<QPoint> a = app->azimuthDisplay()->clickPointFor(phi);
        const std::optional<QPoint> e = app->elevationDisplay()->clickPointFor(theta);
        ASSERT_TRUE(a && e) << "the displays have no room for whole-degree clicks";
        QTest::mouseClick(app->azimuthDisplay(), Qt::LeftButton, {}, *a);
        QTest::mouseClick(app->elevationDisplay(), Qt::LeftButton, {}, *e);
    }
    float graphPhi(int beam) const { return app->session().graph()->beamPhi(beam); }
    float graphTheta(int beam) const { return app->session().graph()->beamTheta(beam); }

    apptest::WorkingDirectory dir;
    DialogAnswers dialogs;
    CFakeBackend fake;
    std::unique_ptr<CZircApp> app;
};
