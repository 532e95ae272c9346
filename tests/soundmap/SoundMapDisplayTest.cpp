// The map behind the beam displays: colours where the source is, the cut along the
// active beam's plane, a double click that picks a peak, and the switches.
#include "soundmap/CSoundMap.h"
#include "widgets/CBeamDisplayAzimuth.h"
#include "widgets/CBeamDisplayElevation.h"

#include "beamformer/tables/EbfMatrix.h"
#include "tests/widgets/WidgetTestSupport.h"

#include <QSignalSpy>

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

using namespace widgettest;

namespace {

// The map of one plane wave from (theta, phi), made from its analytic mode covariance.
SoundMapFrame sourceAt(double theta, double phi)
{
    ModeCovarianceFrame period;
    period.frames = 1000;
    for (int i = 0; i < 16; ++i)
        for (int j = i; j < 16; ++j)
            period.sums[ModeCovarianceFrame::index(i, j)] = 1000.0 * ebfHarmonic(i, theta, phi) * ebfHarmonic(j, theta, phi);
    CSoundMap map;
    map.update(period);
    return map.frame(30.0f, 8);
}

// The window point at a mouse angle (0 right, 90 up) and radius.
QPointF polar(double degrees, double radius)
{
    const double a = degrees * std::numbers::pi / 180.0;
    return {radius * std::cos(a), -radius * std::sin(a)};
}

template <class Display>
int grey(Display& d, double degrees, double radius = 34.0)
{
    return qGray(d.grab().toImage().pixel(d.toWidget(polar(degrees, radius)).toPoint()));
}

TEST(SoundMapDisplay, AzimuthBackdropPeakPickAndSwitch)
{
    CBeamDisplayAzimuth display;
    ASSERT_TRUE(showAt(display, 240, 240));
    const int blank = grey(display, 123.0);
    display.setMapFrame(sourceAt(60.0, 120.0));
    // Beside the spoke at 120: the top of the scale, pale yellow.
    EXPECT_GT(grey(display, 123.0), 200);
    EXPECT_LT(grey(display, 303.0), grey(display, 123.0) - 80);

    QSignalSpy picks(&display, &CBeamDisplayAzimuth::mapPeakChosen);
    QTest::mouseDClick(&display, Qt::LeftButton, {}, display.toWidget(polar(200.0, 30.0)).toPoint());
    EXPECT_TRUE(picks.isEmpty()); // no peak near that azimuth
    QTest::mouseDClick(&display, Qt::LeftButton, {}, display.toWidget(polar(127.0, 30.0)).toPoint());
    ASSERT_EQ(picks.size(), 1);
    EXPECT_EQ(picks.at(0).at(0).toInt(), 60);
    EXPECT_EQ(picks.at(0).at(1).toInt(), 120);

    QSignalSpy shown(&display, &CBeamDisplayAzimuth::mapShownChanged);
    display.setMapShown(false);
    display.setMapShown(false);
    EXPECT_EQ(shown.size(), 1);
    EXPECT_EQ(grey(display, 123.0), blank);
    display.setMapShown(true);
    display.setMapFrame(CSoundMap().frame(30.0f, 8)); // silence: no levels
    EXPECT_EQ(grey(display, 123.0), blank);
}

TEST(SoundMapDisplay, ElevationCutFollowsThePlaneAndPicksThePeak)
{
    CBeamDisplayElevation display;
    display.addTrack(Qt::red);
    display.setActivePattern(0);
    display.setTheta(0, 170);
    ASSERT_TRUE(showAt(display, 240, 300));
    const int blank = grey(display, 30.0);
    display.setMapFrame(sourceAt(60.0, 120.0));
    display.setMapPlane(120);
    EXPECT_GT(grey(display, 30.0), 200); // polar angle 60 is mouse angle 30
    EXPECT_LT(grey(display, -60.0), grey(display, 30.0) - 80);
    display.setMapPlane(300); // the opposite half plane: 120 degrees from the source
    EXPECT_LT(grey(display, 30.0), 150);

    QSignalSpy picks(&display, &CBeamDisplayElevation::mapPeakChosen);
    QTest::mouseDClick(&display, Qt::LeftButton, {}, display.toWidget(polar(30.0, 30.0)).toPoint());
    EXPECT_TRUE(picks.isEmpty()); // nothing near (60, 300)
    display.setMapPlane(125);
    QTest::mouseDClick(&display, Qt::LeftButton, {}, display.toWidget(polar(25.0, 30.0)).toPoint());
    ASSERT_EQ(picks.size(), 1);
    EXPECT_EQ(picks.at(0).at(0).toInt(), 60);
    EXPECT_EQ(picks.at(0).at(1).toInt(), 120);

    display.setMapNote(QStringLiteral("no sound map: 2 channels"));
    EXPECT_FALSE(display.soundMap().drawsMap());
    EXPECT_EQ(grey(display, 30.0), blank);
    QSignalSpy music(&display, &CBeamDisplayElevation::mapMusicChanged);
    display.setMapMusic(true);
    ASSERT_EQ(music.size(), 1);
    EXPECT_TRUE(music.at(0).at(0).toBool());
}

} // namespace
