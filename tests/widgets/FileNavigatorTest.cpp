#include "widgets/CAudioFileNavigator.h"
#include "WidgetTestSupport.h"

#include <QFontMetrics>
#include <QSignalSpy>

#include <gtest/gtest.h>

using namespace widgettest;

namespace {
constexpr int kFs = 1000;

void send(QWidget& w, QEvent::Type type, QPointF at, Qt::MouseButtons held)
{
    const Qt::MouseButton button = type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton;
    QMouseEvent event(type, at, w.mapToGlobal(at), button, held, Qt::NoModifier);
    QApplication::sendEvent(&w, &event);
}

// Press, optional moves and release, all at the bar's height.
void drag(CAudioFileNavigator& nav, std::initializer_list<double> xs)
{
    const double y = 0.75 * nav.height();
    auto x = xs.begin();
    send(nav, QEvent::MouseButtonPress, {*x, y}, Qt::LeftButton);
    for (++x; x != xs.end(); ++x)
        send(nav, QEvent::MouseMove, {*x, y}, Qt::LeftButton);
    send(nav, QEvent::MouseButtonRelease, {*(xs.end() - 1), y}, Qt::NoButton);
}

struct Navigator : ::testing::Test {
    CAudioFileNavigator nav;
    void SetUp() override
    {
        ASSERT_TRUE(showAt(nav, 600, 100));
        ASSERT_EQ(nav.setFs(kFs), 0);
    }
    // Samples of one pixel: the resolution of every mouse position.
    double samplesPerPixel() const { return nav.numSamples() / nav.plotWidth(); }
};
} // namespace

TEST_F(Navigator, TickSpacingFollowsTheLengthAndLabelsEndWithTheLength)
{
    const struct {
        int seconds;
        int tick;
        int labels;
        const char* last;
    } cases[] = {{9, 1, 10, "0:00:09"},     {10, 2, 6, "0:00:10"},    {3599, 600, 7, "0:59:59"},
                 {3600, 1200, 4, "1:00:00"}, {72000, 7200, 11, "20:00:00"}};
    for (const auto& c : cases) {
        ASSERT_EQ(nav.setNumSamples(c.seconds * kFs), 0);
        EXPECT_EQ(nav.tickSamples(), c.tick * kFs) << c.seconds;
        ASSERT_EQ(nav.labels().size(), c.labels) << c.seconds;
        EXPECT_EQ(nav.labels().front(), "0:00:00");
        EXPECT_EQ(nav.labels().back(), c.last);
    }
    EXPECT_EQ(nav.labels()[1], "2:00:00");
    // Beyond 20 hours the old scale stands.
    EXPECT_EQ(nav.setNumSamples(72001 * kFs), 2);
    EXPECT_EQ(nav.numSamples(), 72000 * kFs);
    EXPECT_EQ(nav.setNumSamples(-1), 1);
    EXPECT_EQ(nav.setFs(0), 1);
}

TEST_F(Navigator, EmptyNavigatorSpansTenSecondsAndIgnoresTheMouse)
{
    ASSERT_EQ(nav.setFs(48000), 0);
    ASSERT_EQ(nav.setNumSamples(0), 0);
    EXPECT_FALSE(nav.hasFile());
    EXPECT_EQ(nav.numSamples(), 480000);
    QSignalSpy starts(&nav, &CAudioFileNavigator::updateStartSample);
    QSignalSpy seeks(&nav, &CAudioFileNavigator::seek);
    drag(nav, {100, 200, 300});
    drag(nav, {150});
    EXPECT_EQ(starts.count() + seeks.count(), 0);
    EXPECT_EQ(nav.end(), 480000);
}

TEST_F(Navigator, DragSelectsTheSectionBetweenPressAndRelease)
{
    ASSERT_EQ(nav.setNumSamples(20 * kFs), 0);
    QSignalSpy starts(&nav, &CAudioFileNavigator::updateStartSample);
    drag(nav, {nav.xOfSample(5000), nav.xOfSample(9000), nav.xOfSample(15000)});
    ASSERT_EQ(starts.count(), 1);
    EXPECT_NEAR(starts[0][0].toInt(), 5000, samplesPerPixel());
    EXPECT_EQ(nav.start(), starts[0][0].toInt());
    EXPECT_NEAR(nav.end(), 15000, samplesPerPixel());
    EXPECT_EQ(nav.section().width(), nav.end() - nav.start());
    EXPECT_EQ(nav.currentSample(), nav.start());

    // Dragged to the left of the press: an empty section at the start.
    drag(nav, {nav.xOfSample(12000), nav.xOfSample(4000)});
    EXPECT_EQ(nav.end(), nav.start());
    EXPECT_NEAR(nav.start(), 12000, samplesPerPixel());

    // Dragged past the bar's end: the section ends with the file.
    drag(nav, {nav.xOfSample(2000), nav.width() - 1.0});
    EXPECT_EQ(nav.end(), 20 * kFs);
}

TEST_F(Navigator, ClickJumpsOnlyInsideTheSection)
{
    ASSERT_EQ(nav.setNumSamples(20 * kFs), 0);
    drag(nav, {nav.xOfSample(5000), nav.xOfSample(15000)});
    QSignalSpy seeks(&nav, &CAudioFileNavigator::seek);
    drag(nav, {nav.xOfSample(2000)});
    drag(nav, {nav.xOfSample(18000)});
    EXPECT_EQ(seeks.count(), 0);
    drag(nav, {nav.xOfSample(10000)});
    ASSERT_EQ(seeks.count(), 1);
    EXPECT_NEAR(seeks[0][0].toInt(), 10000, samplesPerPixel());
    // A press above the bar is no click.
    send(nav, QEvent::MouseButtonPress, {nav.xOfSample(10000), 10}, Qt::LeftButton);
    send(nav, QEvent::MouseButtonRelease, {nav.xOfSample(10000), 10}, Qt::NoButton);
    EXPECT_EQ(seeks.count(), 1);
}

TEST_F(Navigator, PositionPastTheEndSeeksTheStartOnEverySecondReport)
{
    ASSERT_EQ(nav.setNumSamples(20 * kFs), 0);
    drag(nav, {nav.xOfSample(5000), nav.xOfSample(15000)});
    QSignalSpy seeks(&nav, &CAudioFileNavigator::seek);
    QSignalSpy stops(&nav, &CAudioFileNavigator::stop);
    const int past = nav.end() + 100;
    nav.setCurrentSample(nav.end()); // the end itself is inside
    for (int report = 0; report < 4; ++report)
        nav.setCurrentSample(past);
    ASSERT_EQ(seeks.count(), 2);
    EXPECT_EQ(seeks[0][0].toInt(), nav.start());
    nav.setCurrentSample(nav.start());
    nav.setCurrentSample(past); // back inside reset the latch
    EXPECT_EQ(seeks.count(), 3);
    EXPECT_EQ(stops.count(), 0);
    nav.setCurrentSample(3 * kFs + 999);
    EXPECT_EQ(nav.timeText(), "00:00:03");
}

TEST_F(Navigator, BarShowsThePlayedPartDeepAndTheRestOfTheSectionPale)
{
    ASSERT_EQ(nav.setNumSamples(20 * kFs), 0);
    nav.setCurrentSample(10 * kFs);
    const double y = 0.75 * nav.height();
    const QColor played = pixel(nav, {nav.xOfSample(5 * kFs), y});
    const QColor pale = pixel(nav, {nav.xOfSample(15 * kFs), y});
    EXPECT_GT(played.blue(), played.red() + 150);
    EXPECT_GT(pale.blue(), pale.red());
    EXPECT_GT(pale.red(), played.red() + 100);
}

TEST_F(Navigator, LabelBeforeTheLastGivesWayWhenItsTickIsCloseToTheEnd)
{
    const int timeWidth = QFontMetrics(QFont()).horizontalAdvance(QStringLiteral("00:00:00"));
    // 9.5 s: the last tick is half a tick from the end; 5.9 s: nine tenths of a tick.
    const auto remainder = [&](int samples) {
        const int tick = static_cast<int>(kFs * nav.plotWidth() / samples);
        return static_cast<int>(nav.plotWidth()) % tick;
    };
    ASSERT_LE(remainder(9500), timeWidth);
    ASSERT_GT(remainder(5900), timeWidth);
    nav.setNumSamples(9500);
    nav.grab();
    EXPECT_FALSE(nav.secondLastLabelShown());
    nav.setNumSamples(5900);
    nav.grab();
    EXPECT_TRUE(nav.secondLastLabelShown());
}
