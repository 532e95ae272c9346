#include "widgets/CBeamDisplayAzimuth.h"
#include "WidgetTestSupport.h"

#include <QSignalSpy>

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <vector>

using namespace widgettest;

namespace {
// A cardioid over the full circle, 73 points, first in the beam's direction.
std::vector<float> cardioid()
{
    std::vector<float> r(73);
    for (int i = 0; i < 73; ++i)
        r[i] = static_cast<float>(0.5 + 0.5 * std::cos(i * 5.0 * std::numbers::pi / 180.0));
    return r;
}

class BeamDisplayAzimuth : public ::testing::Test {
protected:
    void SetUp() override
    {
        const std::vector<float> r = cardioid();
        ASSERT_EQ(display.addPlot(r.data(), 73, Qt::blue), 0);
        display.setActivePattern(0);
    }
    // The widget pixel at a mouse angle and radius in window units. The display takes the
    // mouse in whole window units, so an angle at radius 45 is known to about 0.7 degrees.
    QPoint at(double degrees, double radius = 45.0) const
    {
        const double a = degrees * std::numbers::pi / 180.0;
        return display.toWidget(QPointF(radius * std::cos(a), -radius * std::sin(a))).toPoint();
    }
    CBeamDisplayAzimuth display;
};

double radius(QPointF p) { return std::hypot(p.x(), p.y()); }
} // namespace

TEST_F(BeamDisplayAzimuth, CurveMapsZeroDecibelsToTheRimAndTheFloorToTheCentre)
{
    tBeamPlot plot;
    const float response[5] = {1.0f, 0.01f, 0.001f, 0.1f, 1.0f};
    ASSERT_EQ(plot.setResponse(response, 5), 0);
    ASSERT_EQ(plot.mPoints.size(), 5u);
    EXPECT_NEAR(plot.mPoints[0].x(), 40.0, 1e-4);
    EXPECT_NEAR(plot.mPoints[0].y(), 0.0, 1e-4);
    EXPECT_NEAR(radius(plot.mPoints[1]), 0.0, 1e-3);
    EXPECT_NEAR(radius(plot.mPoints[2]), 0.0, 1e-3);
    // -20 dB at 270 degrees: radius 20, below the centre on the screen.
    EXPECT_NEAR(plot.mPoints[3].x(), 0.0, 1e-3);
    EXPECT_NEAR(plot.mPoints[3].y(), 20.0, 1e-3);
    EXPECT_EQ(plot.mPoints[4], plot.mPoints[0]);

    std::vector<float> flat(73, 1.0f);
    ASSERT_EQ(plot.setResponse(flat.data(), 73), 0);
    for (const QPointF& p : plot.mPoints)
        EXPECT_NEAR(radius(p), 40.0, 1e-3);
    EXPECT_EQ(plot.mPoints.back(), plot.mPoints.front());

    // Empty, one-point and null responses leave the curve as it was.
    EXPECT_EQ(plot.setResponse(response, 1), 1);
    EXPECT_EQ(plot.setResponse(nullptr, 73), 1);
    EXPECT_EQ(plot.mPoints.size(), 73u);
}

TEST_F(BeamDisplayAzimuth, ClickJumpsTheActiveBeamToTheMouse)
{
    ASSERT_TRUE(showAt(display, 300, 200)); // not square: the circle sits in the centred square
    QSignalSpy phis(&display, &CBeamDisplayAzimuth::phiChanged);
    const std::pair<double, int> clicks[] = {{90, 90}, {180, 180}, {270, 270}, {45, 45}};
    for (auto [angle, expected] : clicks) {
        QTest::mouseClick(&display, Qt::LeftButton, {}, at(angle));
        ASSERT_FALSE(phis.isEmpty());
        EXPECT_NEAR(phis.takeLast().at(0).toInt(), expected, 1) << angle;
    }
    QTest::mouseClick(&display, Qt::LeftButton, {}, display.toWidget(QPointF(0, 0)).toPoint());
    EXPECT_TRUE(phis.isEmpty()); // the centre has no direction
    QTest::mouseClick(&display, Qt::LeftButton, {}, at(90, 45));
    EXPECT_EQ(phis.takeLast().at(0).toInt(), 90);
}

// A whole azimuth has a point where a click sets exactly it, but for the degrees next to
// an axis, where the window's whole units are too coarse (1.4 degrees apart at the rim);
// a display too small for exact clicks says so rather than landing a degree off.
TEST_F(BeamDisplayAzimuth, ClickPointsGiveEveryWholeDegreeExactly)
{
    ASSERT_TRUE(showAt(display, 300, 220));
    QSignalSpy phis(&display, &CBeamDisplayAzimuth::phiChanged);
    for (int phi = 0; phi < 360; ++phi) {
        const std::optional<QPoint> p = display.clickPointFor(phi);
        if (!p) {
            EXPECT_LE(nearAxis(phi), 2) << phi;
            continue;
        }
        QTest::mouseClick(&display, Qt::LeftButton, {}, *p);
        ASSERT_FALSE(phis.isEmpty()) << phi;
        EXPECT_EQ(phis.takeLast().at(0).toInt(), phi);
    }
    ASSERT_TRUE(showAt(display, 100, 100));
    EXPECT_FALSE(display.clickPointFor(90));
}

TEST_F(BeamDisplayAzimuth, DragTurnsByTheMouseTurnAndWrapsAcrossZero)
{
    ASSERT_TRUE(showAt(display, 300, 300));
    display.setPhi(10);
    QSignalSpy phis(&display, &CBeamDisplayAzimuth::phiChanged);
    const long builds = display.curveBuilds();
    QTest::mousePress(&display, Qt::LeftButton, {}, at(20));
    QTest::mouseMove(&display, at(10));
    QTest::mouseMove(&display, at(355)); // clockwise across the 0 mark
    QTest::mouseRelease(&display, Qt::LeftButton, {}, at(355));
    ASSERT_EQ(phis.count(), 2);
    const double turned = display.plot(0)->mPhi;
    EXPECT_NEAR(turned, 345.0, 2.0); // 10 - 25, wrapped
    // Anticlockwise back across 0: from 359 to 1 the mouse turns by -358, wrapped to +2.
    QTest::mousePress(&display, Qt::LeftButton, {}, at(359));
    QTest::mouseMove(&display, at(1));
    QTest::mouseRelease(&display, Qt::LeftButton, {}, at(1));
    EXPECT_NEAR(display.plot(0)->mPhi, turned + 2.0, 2.0);
    EXPECT_EQ(display.curveBuilds(), builds); // steering rotates, it recomputes nothing
}

TEST_F(BeamDisplayAzimuth, BeamAtNinetyHasItsFilledLobeAboveTheCentre)
{
    ASSERT_TRUE(showAt(display, 300, 300));
    display.setPhi(0, 90);
    // Probes clear of rings (every 10 units) and spokes (every 30 degrees).
    const QColor above = pixel(display, display.toWidget(QPointF(6.5, -24)));
    const QColor below = pixel(display, display.toWidget(QPointF(-6.5, 24)));
    EXPECT_GT(above.blue(), above.red() + 20); // white tinted blue
    EXPECT_EQ(below, QColor(Qt::white));
    // An azimuth of 360 is drawn as 0: the lobe points right.
    display.setPhi(0, 360);
    EXPECT_EQ(display.plot(0)->mPhi, 360.0);
    const QColor right = pixel(display, display.toWidget(QPointF(24, 6.5)));
    EXPECT_GT(right.blue(), right.red() + 20);
}

TEST_F(BeamDisplayAzimuth, DisabledCoverGreysThePlot)
{
    ASSERT_TRUE(showAt(display, 300, 300));
    display.setPhi(90);
    const QPointF empty = display.toWidget(QPointF(-6.5, 24)); // behind the beam
    EXPECT_EQ(pixel(display, empty), QColor(Qt::white));
    display.setEnabled(false);
    const QColor covered = pixel(display, empty);
    EXPECT_LT(covered.red(), 240);
    EXPECT_GT(covered.red(), 200);
    EXPECT_EQ(covered.red(), covered.blue());
}

TEST_F(BeamDisplayAzimuth, FullDisplayAndBadIndicesAreIgnored)
{
    CBeamDisplayAzimuth small(2);
    const std::vector<float> r = cardioid();
    EXPECT_EQ(small.addPlot(r.data(), 73, Qt::red), 0);
    EXPECT_EQ(small.addPlot(nullptr, 0, Qt::green), 1); // added, without a curve
    EXPECT_EQ(small.addPlot(r.data(), 73, Qt::blue), 1); // full
    EXPECT_EQ(small.numTracks(), 2);
    small.setPhi(5, 40);
    small.setColor(-1, Qt::black);
    small.setPattern(7, r.data(), 73);
    small.setPhi(40); // no active plot
    EXPECT_EQ(small.plot(0)->mPhi, 0.0);
    small.setActivePattern(0);
    small.removeActivePlot();
    EXPECT_EQ(small.numTracks(), 1);
    EXPECT_EQ(small.activeIndex(), -1);
    EXPECT_EQ(small.plot(0)->mColor, QColor(Qt::green));
    EXPECT_EQ(small.plot(1), nullptr);
    CBeamDisplayAzimuth none(-3);
    EXPECT_EQ(none.addPlot(r.data(), 73, Qt::red), 1);
}
