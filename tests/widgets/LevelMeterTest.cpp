#include "stages/CMaxValue.h"
#include "widgets/CLevelMeter.h"
#include "LevelMeterProbe.h"
#include "WidgetTestSupport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

using namespace widgettest;

namespace {
float fromDb(double db) { return static_cast<float>(std::pow(10.0, db / 20.0)); }

class LevelMeter : public ::testing::Test {
protected:
    // Feeds one level per channel as both envelope and peak.
    static void feed(CLevelMeter& meter, const std::vector<float>& levels)
    {
        meter.advanceWith(levels.data(), levels.data());
    }
};

bool reddish(QColor c) { return c.red() > 180 && c.green() < 100; }
bool greenish(QColor c) { return c.green() > 150 && c.red() < 60; }
} // namespace

// The law uses 29.472 for 10 / sqrt(20 / ln 10) = 29.4718, so positions come out a few
// thousandths low; 0.01 of the bar's height is far below a pixel.
TEST_F(LevelMeter, LawPutsMinusTwentyFiveHalfwayAndMinusNineAtTheRedLine)
{
    EXPECT_NEAR(CLevelMeter::position(fromDb(-25)), 50.0f, 0.01f);
    EXPECT_NEAR(CLevelMeter::position(fromDb(-9)), 70.0f, 0.01f);
    EXPECT_NEAR(CLevelMeter::position(1.0f), 100.0f, 1e-6f);
    EXPECT_EQ(CLevelMeter::position(3.0f), CLevelMeter::position(1.0f));
    EXPECT_NEAR(CLevelMeter::position(0.0f), 0.0f, 0.01f);
    CLevelMeter meter(1);
    EXPECT_NEAR(meter.redLine(), 70.0f, 0.01f);
    EXPECT_GE(CLevelMeter::position(fromDb(-9)), meter.redLine());
    EXPECT_LT(CLevelMeter::position(fromDb(-9.05)), meter.redLine());
}

TEST_F(LevelMeter, SilenceGivesEmptyBarsAndNumbersOfHundred)
{
    CLevelMeter meter(4);
    feed(meter, {0, 0, 0, 0});
    for (int ch = 0; ch < 4; ++ch) {
        EXPECT_EQ(meter.barPosition(ch), 0.0f);
        EXPECT_NEAR(meter.holdDb(ch), -100.0f, 1e-3f);
    }
    feed(meter, {2.0f, 1.0f, 0.5f, 0.0f});
    EXPECT_NEAR(meter.barPosition(0), 100.0f, 1e-5f);
    EXPECT_NEAR(meter.holdDb(0), 0.0f, 1e-5f);
    EXPECT_NEAR(meter.holdDb(2), -6.0206f, 1e-3f);
}

TEST_F(LevelMeter, PeakFallsByAlphaOfTheWayEachStepAndTheBarGlidesOnlyWhenTheSignalHasGone)
{
    CMaxValue stage;
    CLevelMeter meter(1);
    meter.setSource(&stage);
    EXPECT_NEAR(meter.alpha(), 0.1193f, 1e-4f);
    meter.setSource(nullptr);
    const float a = meter.alpha();
    feed(meter, {1.0f});
    float expected = 1.0f;
    for (int step = 0; step < 3; ++step) {
        feed(meter, {0.0f});
        expected += (1e-5f - expected) * a;
        EXPECT_NEAR(meter.peakPosition(0), CLevelMeter::position(expected), 1e-3f) << step;
        EXPECT_NEAR(meter.barPosition(0), CLevelMeter::position(expected), 1e-3f) << step;
    }
    // A lower but live envelope is shown as it is, without smoothing.
    feed(meter, {fromDb(-40)});
    EXPECT_NEAR(meter.barPosition(0), CLevelMeter::position(fromDb(-40)), 1e-4f);
}

TEST_F(LevelMeter, ReadsItsLevelStageAndKeepsPaintingWhenItGoesAway)
{
    CMaxValue stage;
    const vkAudioInterface in = vkAudioInterface::timeDomain(2, 44100.0f, 64);
    ASSERT_EQ(stage.setFormat(in, vkAudioInterface::timeDomain(0, 44100.0f, 64)), vkOk);
    std::vector<float> loud(64, 0.0f), quiet(64, 0.0f);
    loud[5] = 0.5f;
    float* channels[2] = {loud.data(), quiet.data()};
    stage.process(channels, nullptr, 64);

    CLevelMeter meter(2);
    ASSERT_TRUE(showAt(meter, 200, 200));
    meter.setSource(&stage);
    meter.advance();
    EXPECT_NEAR(meter.peakPosition(0), CLevelMeter::position(0.5f), 1e-4f);
    EXPECT_NEAR(meter.holdDb(0), -6.0206f, 1e-3f);
    EXPECT_EQ(meter.peakPosition(1), 0.0f);

    meter.setSource(nullptr);
    meter.advance();
    EXPECT_FALSE(meter.grab().isNull());
    EXPECT_LT(meter.peakPosition(0), CLevelMeter::position(0.5f));
}

TEST_F(LevelMeter, BarsAboveTheRedLineAreRed)
{
    CLevelMeter meter(3);
    ASSERT_TRUE(showAt(meter, 200, 250));
    feed(meter, {fromDb(-9), fromDb(-12), fromDb(-3)});
    for (int ch : {0, 2}) {
        const QRectF bar = meter.barArea(ch);
        EXPECT_TRUE(reddish(pixel(meter, QPointF(bar.center().x(), bar.bottom() - 4)))) << ch;
    }
    const QRectF green = meter.barArea(1);
    EXPECT_TRUE(greenish(pixel(meter, QPointF(green.center().x(), green.bottom() - 4))));
}

TEST_F(LevelMeter, ClickOnANumberResetsThatChannelOnlyAndDoubleClickResetsAll)
{
    CLevelMeter meter(4);
    ASSERT_TRUE(showAt(meter, 300, 250));
    feed(meter, {0.5f, 0.5f, 0.5f, 0.5f});
    feed(meter, {0, 0, 0, 0});
    QTest::mouseClick(&meter, Qt::LeftButton, {}, meter.numberArea(2).center().toPoint());
    for (int ch = 0; ch < 4; ++ch)
        EXPECT_NEAR(meter.holdDb(ch), ch == 2 ? -100.0f : -6.0206f, 1e-3f) << ch;
    // Below the numbers, on the bars: nothing.
    QTest::mouseClick(&meter, Qt::LeftButton, {}, meter.barArea(1).center().toPoint());
    EXPECT_NEAR(meter.holdDb(1), -6.0206f, 1e-3f);
    QTest::mouseDClick(&meter, Qt::LeftButton, {}, meter.barArea(1).center().toPoint());
    for (int ch = 0; ch < 4; ++ch)
        EXPECT_EQ(meter.holdDb(ch), -100.0f);
}

TEST_F(LevelMeter, ChannelCountAndLayoutLimits)
{
    CLevelMeter meter(4);
    EXPECT_EQ(meter.setChannels(0), 1);
    EXPECT_EQ(meter.channels(), 4);
    EXPECT_EQ(meter.sizeHint(), QSize(4 * 15 + 50, 180));
    // Wide against its height: columns of a quarter of the bars' height, centred.
    ASSERT_TRUE(showAt(meter, 1000, 250));
    const double barHeight = 250 - 50;
    const QRectF first = meter.barArea(0), last = meter.barArea(3);
    const double column = last.left() - meter.barArea(2).left();
    EXPECT_NEAR(column, barHeight / 4, 1e-9);
    const double blockLeft = first.left() - 0.2 * column, blockRight = last.right() + 0.2 * column;
    EXPECT_NEAR(blockLeft + blockRight, 1000.0, 1e-6);
    EXPECT_EQ(meter.setChannels(32), 0);
    EXPECT_EQ(meter.channels(), 32);
    EXPECT_EQ(meter.holdDb(31), -100.0f);
}

// The output meter's 18 and the input meter's 32 columns, from far below the narrowest
// the window gives them to wide: no pixel column on the border of two columns carries
// ink in the band of the numbers or of the channel labels, so neighbours never touch.
TEST_F(LevelMeter, NumbersAndLabelsOfNeighbouringColumnsNeverTouchAtAnyWidth)
{
    for (int channels : {18, 32}) {
        CLevelMeter meter(channels);
        for (int width = channels * 8 + 60; width <= 1400; width += 61) {
            SCOPED_TRACE(testing::Message() << channels << " channels, " << width << " px");
            ASSERT_TRUE(showAt(meter, width, 200));
            feed(meter, holdsOfEveryWidth(channels));
            ASSERT_EQ(meter.grab().devicePixelRatio(), 1.0);
            const QFontMetricsF numbers(meter.numberFont());
            for (int ch = 0; ch < channels; ++ch) {
                const QString text = meter.numberText(ch);
                if (!text.isEmpty()) {
                    EXPECT_LE(numbers.boundingRect(text).width() + CLevelMeter::kTextGap, meter.numberArea(ch).width())
                        << ch;
                }
            }
            const MeterTextProbe probe = probeMeterTexts(meter);
            EXPECT_EQ(probe.touching, 0);
            // The probe sees a number where there is one.
            EXPECT_EQ(probe.unseen, 0);
            // Too narrow for any number is not the answer at every width.
            if (width >= meter.minimumSizeHint().width()) {
                EXPECT_GT(probe.shown, channels / 2);
            }
        }
    }
}

TEST_F(LevelMeter, NumbersDropTheirDecimalThenHideAsTheColumnsNarrow)
{
    CLevelMeter meter(18);
    const std::vector<float> holds = holdsOfEveryWidth(18);
    ASSERT_TRUE(showAt(meter, 800, 300));
    feed(meter, holds);
    // Wide: one decimal everywhere, and full scale reads 0.0, not -0.0.
    EXPECT_EQ(meter.numberText(0), "0.0");
    EXPECT_EQ(meter.numberText(3), "23.4");
    EXPECT_EQ(meter.numberText(6), "100.0");
    EXPECT_EQ(meter.labelPixelSize(), 10);

    // At the least width the layout allows the same holds lose their decimals first and
    // keep whole decibels while those fit.
    ASSERT_TRUE(showAt(meter, meter.minimumSizeHint().width(), 300));
    EXPECT_EQ(meter.numberText(3), "23");
    EXPECT_EQ(meter.numberText(1), "6");
    EXPECT_GT(meter.labelPixelSize(), 0);

    // Far too narrow: nothing is drawn rather than something unreadable.
    ASSERT_TRUE(showAt(meter, 18 * 4 + 60, 300));
    for (int ch = 0; ch < 18; ++ch)
        EXPECT_TRUE(meter.numberText(ch).isEmpty()) << ch;
    EXPECT_EQ(meter.labelPixelSize(), 0);
}
