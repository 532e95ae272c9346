#include "widgets/CInputVolume.h"
#include "widgets/CVolumeUnit.h"
#include "WidgetTestSupport.h"

#include <QAbstractButton>
#include <QButtonGroup>
#include <QSignalSpy>

#include <gtest/gtest.h>

using namespace widgettest;

namespace {
class InputVolume : public ::testing::Test {};
} // namespace

TEST_F(InputVolume, PreampValueTakesTheNextStepUpAndEmitsNothing)
{
    CInputVolume input;
    QSignalSpy preamp(&input, &CInputVolume::preampVolumeChanged);
    QSignalSpy gains(&input, &CInputVolume::gainChanged);
    const std::pair<int, int> cases[] = {{15, 20}, {-20, -10}, {0, 0}, {30, 30}, {21, 30}};
    for (auto [asked, expected] : cases) {
        input.setPreampVolume(asked);
        EXPECT_EQ(input.preampVolume(), expected) << asked;
    }
    EXPECT_TRUE(input.preampGroup()->button(4)->isChecked());
    EXPECT_EQ(preamp.count(), 0);
    EXPECT_EQ(gains.count(), 0);
}

TEST_F(InputVolume, GainIsTheProductOfPreampAndSlider)
{
    CInputVolume input;
    input.setSliderVolume(0);
    input.setPreampVolume(0);
    EXPECT_FLOAT_EQ(input.gain(), 1.0f);
    input.setPreampVolume(20);
    EXPECT_FLOAT_EQ(input.gain(), 10.0f);
    input.setSliderVolume(-6);
    EXPECT_EQ(input.sliderVolume(), -6);
    EXPECT_NEAR(input.sliderGain(), 0.501187f, 1e-6f);
    EXPECT_NEAR(input.gain(), 5.01187f, 1e-5f);
}

TEST_F(InputVolume, ClickOnAStepEmitsTheStepThenTheProduct)
{
    CInputVolume input;
    ASSERT_TRUE(showAt(input, 200, 320));
    input.setSliderVolume(-10);
    QStringList order;
    QObject::connect(&input, &CInputVolume::preampVolumeChanged, [&](int v) { order << QString::number(v); });
    QObject::connect(&input, &CInputVolume::gainChanged, [&](float g) { order << QString::number(g, 'f', 4); });
    QTest::mouseClick(input.preampGroup()->button(4), Qt::LeftButton);
    EXPECT_EQ(order, QStringList({"30", "10.0000"})); // 30 dB and -10 dB
    EXPECT_EQ(input.preampVolume(), 30);
}

TEST_F(InputVolume, FaderEmitsItsOwnGainThenTheProduct)
{
    CInputVolume input;
    input.setSliderVolume(0);
    input.setPreampVolume(10);
    QSignalSpy slider(&input, &CInputVolume::sliderGainChanged);
    QSignalSpy product(&input, &CInputVolume::gainChanged);
    QSignalSpy mutes(&input, &CInputVolume::muteClicked);
    input.sliderUnit()->setVolume(-10.0f);
    ASSERT_EQ(slider.count(), 1);
    ASSERT_EQ(product.count(), 1);
    EXPECT_NEAR(slider.at(0).at(0).toFloat(), 0.316228f, 1e-6f);
    EXPECT_NEAR(product.at(0).at(0).toFloat(), 1.0f, 1e-5f);
    input.sliderUnit()->setVolume(-10.0f);
    EXPECT_EQ(product.count(), 1);
    emit input.sliderUnit()->muteClicked(true);
    EXPECT_EQ(mutes.count(), 1);
}
