#include "widgets/CBeamDisplayAzimuth.h"
#include "widgets/CBeamDisplayElevation.h"
#include "widgets/CHVolumeSlider.h"
#include "widgets/CLevelMeter.h"
#include "widgets/COnOffButton.h"
#include "WidgetTestSupport.h"

#include <gtest/gtest.h>

using namespace widgettest;

namespace {
class SliderAndSwitch : public ::testing::Test {};

bool greenish(QColor c) { return c.green() > c.red() + 20 && c.green() > c.blue() + 20; }
bool reddish(QColor c) { return c.red() > c.green() + 60 && c.red() > c.blue() + 60; }
} // namespace

TEST_F(SliderAndSwitch, LowBarsShrinkTheirMarginsAndBar)
{
    const struct {
        int height;
        double margin, bar, fill;
        int layoutHeight;
    } cases[] = {{30, 4, 12, 10, 30}, {15, 1, 3, 1, 15}, {40, 5, 12, 10, 32}};
    for (const auto& c : cases) {
        CHVolumeSlider slider;
        ASSERT_TRUE(showAt(slider, 120, c.height));
        slider.grab();
        EXPECT_EQ(slider.margin(), c.margin) << c.height;
        EXPECT_EQ(slider.barHeight(), c.bar) << c.height;
        EXPECT_EQ(slider.fillHeight(), c.fill) << c.height;
        EXPECT_EQ(slider.layoutHeight(), c.layoutHeight) << c.height;
    }
}

TEST_F(SliderAndSwitch, FillGrowsFromTheMiddleToTheEndsOfTheRange)
{
    CHVolumeSlider slider;
    ASSERT_TRUE(showAt(slider, 160, 32));
    slider.setVolume(-20.0f);
    const QRectF bar = slider.barRect();
    const QPointF leftQuarter(bar.left() + bar.width() / 4, bar.center().y());
    const QPointF rightQuarter(bar.right() - bar.width() / 4, bar.center().y());
    // Probe between the text and the ends: the fill is green over grey.
    EXPECT_TRUE(greenish(pixel(slider, leftQuarter + QPointF(-20, 0))));
    EXPECT_FALSE(greenish(pixel(slider, rightQuarter + QPointF(20, 0))));
    EXPECT_DOUBLE_EQ(slider.fillRect().normalized().left(), bar.left());
    slider.setVolume(20.0f);
    EXPECT_TRUE(greenish(pixel(slider, rightQuarter + QPointF(20, 0))));
    EXPECT_FALSE(greenish(pixel(slider, leftQuarter + QPointF(-20, 0))));
    EXPECT_DOUBLE_EQ(slider.fillRect().right(), bar.right());
}

TEST_F(SliderAndSwitch, SwitchIsPaintedInTheSchemeOfItsState)
{
    COnOffButton button;
    button.setCheckable(true);
    ASSERT_TRUE(showAt(button, 30, 30));
    const QPointF centre(15, 15);
    EXPECT_TRUE(greenish(pixel(button, centre))); // off: green by default
    button.setChecked(true);
    EXPECT_TRUE(reddish(pixel(button, centre)));
    button.setSchemes(7, COnOffButton::Red); // 7 keeps the "on" colours
    EXPECT_TRUE(reddish(pixel(button, centre)));
    button.setSchemes(COnOffButton::Grey, 9);
    const QColor grey = pixel(button, centre);
    EXPECT_LT(std::abs(grey.red() - grey.green()) + std::abs(grey.green() - grey.blue()), 6);
    button.setChecked(false);
    EXPECT_TRUE(reddish(pixel(button, centre)));
}

// Degenerate sizes paint and take clicks without a crash.
TEST_F(SliderAndSwitch, WidgetsSurviveZeroAndOnePixelSizes)
{
    const float flat[3] = {1, 1, 1};
    CBeamDisplayAzimuth azimuth;
    azimuth.addPlot(flat, 3, Qt::red);
    azimuth.setActivePattern(0);
    CBeamDisplayElevation elevation;
    elevation.addTrack(Qt::red);
    elevation.setActivePattern(0);
    CLevelMeter meter(8);
    CHVolumeSlider bar;
    for (QWidget* w : std::initializer_list<QWidget*>{&azimuth, &elevation, &meter, &bar})
        for (int side : {0, 1}) {
            w->resize(side, side);
            EXPECT_EQ(w->grab().size(), QSize(side, side));
            QTest::mouseClick(w, Qt::LeftButton, {}, QPoint(0, 0));
        }
    EXPECT_EQ(meter.holdDb(0), -100.0f);
}
