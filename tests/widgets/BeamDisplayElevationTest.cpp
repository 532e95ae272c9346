#include "widgets/CBeamDisplayElevation.h"
#include "WidgetTestSupport.h"

#include <QSignalSpy>

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

using namespace widgettest;

namespace {
class BeamDisplayElevation : public ::testing::Test {
protected:
    void SetUp() override
    {
        display.addTrack(Qt::red);
        display.addTrack(Qt::blue);
        display.setTheta(0, 90);
        display.setActivePattern(0);
        ASSERT_TRUE(showAt(display, 240, 300));
    }
    // The widget pixel at a mouse angle (0 right, 90 up) and radius in window units.
    QPoint at(double degrees, double radius = 30.0) const
    {
        const double a = degrees * std::numbers::pi / 180.0;
        return display.toWidget(QPointF(radius * std::cos(a), -radius * std::sin(a))).toPoint();
    }
    CBeamDisplayElevation display;
};
} // namespace

TEST_F(BeamDisplayElevation, ClickSetsThePolarAngleUnderTheMouse)
{
    QSignalSpy thetas(&display, &CBeamDisplayElevation::thetaChanged);
    const std::pair<double, int> clicks[] = {{0, 90}, {90, 0}, {270, 180}, {45, 45}, {315, 135}};
    for (auto [angle, expected] : clicks) {
        QTest::mouseClick(&display, Qt::LeftButton, {}, at(angle));
        ASSERT_FALSE(thetas.isEmpty()) << angle;
        EXPECT_NEAR(thetas.takeLast().at(0).toInt(), expected, 1) << angle;
    }
    // The left half is no place for a beam.
    QTest::mouseClick(&display, Qt::LeftButton, {}, at(180));
    QTest::mouseClick(&display, Qt::LeftButton, {}, at(120));
    EXPECT_TRUE(thetas.isEmpty());
}

// A whole polar angle has a point where a click sets exactly it, but for the degrees next
// to an axis, where the window's whole units are too coarse (1.4 degrees apart at the
// rim); a display too small for exact clicks says so rather than landing a degree off.
TEST_F(BeamDisplayElevation, ClickPointsGiveEveryWholeDegreeExactly)
{
    QSignalSpy thetas(&display, &CBeamDisplayElevation::thetaChanged);
    for (int theta = 0; theta <= 180; ++theta) {
        const std::optional<QPoint> p = display.clickPointFor(theta);
        if (!p) {
            EXPECT_LE(nearAxis(theta), 2) << theta;
            continue;
        }
        QTest::mouseClick(&display, Qt::LeftButton, {}, *p);
        ASSERT_FALSE(thetas.isEmpty()) << theta;
        EXPECT_EQ(thetas.takeLast().at(0).toInt(), theta);
    }
    ASSERT_TRUE(showAt(display, 60, 100));
    EXPECT_FALSE(display.clickPointFor(90));
}

TEST_F(BeamDisplayElevation, DragPastTheTopHoldsAtZeroAndKeepsReportingIt)
{
    display.setTheta(20);
    QSignalSpy thetas(&display, &CBeamDisplayElevation::thetaChanged);
    QTest::mousePress(&display, Qt::LeftButton, {}, at(60));
    QTest::mouseMove(&display, at(80));  // up by 20: theta 0
    QTest::mouseMove(&display, at(100)); // past the top, into the left half
    QTest::mouseMove(&display, at(120));
    QTest::mouseRelease(&display, Qt::LeftButton, {}, at(120));
    ASSERT_EQ(thetas.count(), 3);
    for (const QList<QVariant>& signal : thetas)
        EXPECT_LE(signal.at(0).toInt(), 1);
    EXPECT_EQ(thetas.last().at(0).toInt(), 0);
    EXPECT_EQ(display.theta(0), 0.0f);
}

TEST_F(BeamDisplayElevation, DragAcrossTheRightEdgeCorrectsTheWrap)
{
    display.setTheta(80);
    QTest::mousePress(&display, Qt::LeftButton, {}, at(5));
    QTest::mouseMove(&display, at(355)); // clockwise by 10 across the 0 mark
    QTest::mouseRelease(&display, Qt::LeftButton, {}, at(355));
    EXPECT_NEAR(display.theta(0), 90.0f, 1.5f);
    QTest::mousePress(&display, Qt::LeftButton, {}, at(300));
    QTest::mouseMove(&display, at(250)); // down past the bottom: 140, then held at 180
    QTest::mouseMove(&display, at(200));
    QTest::mouseRelease(&display, Qt::LeftButton, {}, at(200));
    EXPECT_EQ(display.theta(0), 180.0f);
}

TEST_F(BeamDisplayElevation, NeedlesStandAtTheirAnglesAndTheCoverGreysThem)
{
    display.setTheta(1, 180);
    const QColor downward = pixel(display, display.toWidget(QPointF(0, 30)));
    const QColor across = pixel(display, display.toWidget(QPointF(30, 0)));
    EXPECT_GT(downward.blue(), 150);
    EXPECT_LT(downward.red(), 100);
    EXPECT_GT(across.red(), 150);
    EXPECT_LT(across.blue(), 100);
    const QPointF empty = display.toWidget(QPointF(20, -20));
    EXPECT_EQ(pixel(display, empty), QColor(Qt::white));
    display.setEnabled(false);
    const QColor covered = pixel(display, empty);
    EXPECT_LT(covered.red(), 240);
    EXPECT_EQ(covered.red(), covered.green());
}

TEST_F(BeamDisplayElevation, RemovalClosesTheGapAndBadIndicesAreIgnored)
{
    display.setTheta(1, 150);
    display.setTheta(7, 30);
    display.setTheta(0, 400); // held at 180
    EXPECT_EQ(display.theta(0), 180.0f);
    display.removeActiveTrack();
    EXPECT_EQ(display.numTracks(), 1);
    EXPECT_EQ(display.activeIndex(), -1);
    EXPECT_EQ(display.theta(0), 150.0f);
    QSignalSpy thetas(&display, &CBeamDisplayElevation::thetaChanged);
    QTest::mouseClick(&display, Qt::LeftButton, {}, at(45)); // no active track
    EXPECT_TRUE(thetas.isEmpty());
    CBeamDisplayElevation none(0);
    none.addTrack(Qt::red);
    EXPECT_EQ(none.numTracks(), 0);
}
