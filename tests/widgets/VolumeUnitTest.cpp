#include "widgets/CDialogSeam.h"
#include "widgets/COnOffButton.h"
#include "widgets/CVolumeUnit.h"
#include "widgets/vkRound.h"
#include "WidgetTestSupport.h"

#include <QLabel>
#include <QLineEdit>
#include <QSignalSpy>
#include <QSlider>

#include <gtest/gtest.h>

using namespace widgettest;

namespace {
class VolumeUnit : public ::testing::Test {
protected:
    // A master fader: -40..40 dB in tenths, with its gain table.
    static void makeMaster(CVolumeUnit& unit)
    {
        unit.setMakeTable(true);
        unit.setRange(-40, 40, 0.1f, 1, 50);
        unit.setTickPosition(CVolumeUnit::ScaleRight);
        unit.setTickLabels(10);
    }
};
} // namespace

TEST(Rounding, TiesGoUpward)
{
    EXPECT_EQ(vkRound(2.5), 3);
    EXPECT_EQ(vkRound(-2.5), -2);
    EXPECT_EQ(vkRound(-2.6), -3);
    EXPECT_EQ(vkRound(2.49), 2);
    EXPECT_EQ(vkRound(-0.4), 0);
}

TEST_F(VolumeUnit, GainTableCoversEveryPositionFromMinusFortyToFortyDecibels)
{
    CVolumeUnit unit(0);
    makeMaster(unit);
    EXPECT_EQ(unit.gainTableSize(), 801);
    unit.setVolume(-40.0f);
    EXPECT_FLOAT_EQ(unit.gain(), 0.01f);
    unit.setVolume(40.0f);
    EXPECT_FLOAT_EQ(unit.gain(), 100.0f);
    unit.setVolume(0.0f);
    EXPECT_EQ(unit.gain(), 1.0f);
    unit.setVolume(-6.0f);
    EXPECT_NEAR(unit.gain(), 0.501187f, 1e-6f);
    EXPECT_EQ(unit.slider()->pageStep(), 50);
    EXPECT_EQ(unit.tickLabels(), QStringList({"-40", "-30", "-20", "-10", "0", "10", "20", "30", "40"}));
    unit.setSuffix(QStringLiteral(" dB"));
    EXPECT_EQ(unit.tickLabels().front(), QStringLiteral("-40 dB"));
}

TEST_F(VolumeUnit, WithoutTableGainIsZeroAndOnlyVolumeIsReported)
{
    CVolumeUnit unit(0);
    EXPECT_EQ(unit.slider()->pageStep(), 49); // 5 / 0.1f truncates
    QSignalSpy gains(&unit, &CVolumeUnit::gainChanged);
    QSignalSpy volumes(&unit, &CVolumeUnit::volumeChanged);
    unit.setVolume(12.0f);
    EXPECT_EQ(unit.gain(), 0.0f);
    EXPECT_EQ(gains.count(), 0);
    ASSERT_EQ(volumes.count(), 1);
    EXPECT_FLOAT_EQ(volumes.at(0).at(0).toFloat(), 12.0f);
}

TEST_F(VolumeUnit, SetVolumeEmitsGainThenVolumeOnceAndNothingForTheSameValue)
{
    CVolumeUnit unit(0);
    makeMaster(unit);
    unit.setVolume(0.0f);
    QStringList order;
    QObject::connect(&unit, &CVolumeUnit::gainChanged, [&](float) { order << "gain"; });
    QObject::connect(&unit, &CVolumeUnit::volumeChanged, [&](float) { order << "volume"; });
    QSignalSpy gains(&unit, &CVolumeUnit::gainChanged);
    unit.setVolume(-20.0f);
    EXPECT_EQ(order, QStringList({"gain", "volume"}));
    ASSERT_EQ(gains.count(), 1);
    EXPECT_FLOAT_EQ(gains.at(0).at(0).toFloat(), 0.1f);
    EXPECT_EQ(unit.edit()->text(), QStringLiteral("-20.0"));
    unit.setVolume(-20.0f);
    unit.setVolume(-20.04f); // rounds to the same position
    EXPECT_EQ(gains.count(), 1);
    unit.setVolume(99.0f); // held at the end of the range
    EXPECT_FLOAT_EQ(unit.volume(), 40.0f);
}

TEST_F(VolumeUnit, TypedTextMovesTheSliderAndReadsBackWithOneDecimal)
{
    CVolumeUnit unit(0);
    makeMaster(unit);
    unit.setVolume(5.0f);
    QSignalSpy volumes(&unit, &CVolumeUnit::volumeChanged);
    unit.edit()->setText(QStringLiteral("3"));
    EXPECT_EQ(unit.slider()->value(), 30);
    EXPECT_EQ(unit.edit()->text(), QStringLiteral("3.0"));
    EXPECT_EQ(volumes.count(), 1);
    unit.edit()->setText(QStringLiteral("-")); // a lone minus counts as 0
    EXPECT_EQ(unit.slider()->value(), 0);
    EXPECT_EQ(unit.edit()->text(), QStringLiteral("0.0"));
}

TEST_F(VolumeUnit, SwitchesPassClicksOnButSettersFromCodeEmitNothing)
{
    CVolumeUnit unit(CVolumeUnit::MuteButton | CVolumeUnit::SoloButton | CVolumeUnit::LinkButton);
    ASSERT_TRUE(showAt(unit, 60, 300));
    QSignalSpy mutes(&unit, &CVolumeUnit::muteClicked);
    QSignalSpy links(&unit, &CVolumeUnit::linkClicked);
    QTest::mouseClick(unit.muteButton(), Qt::LeftButton);
    ASSERT_EQ(mutes.count(), 1);
    EXPECT_TRUE(mutes.at(0).at(0).toBool());
    unit.setMute(false);
    unit.setLink(true);
    EXPECT_EQ(mutes.count(), 1);
    EXPECT_EQ(links.count(), 0);
    EXPECT_TRUE(unit.linkButton()->isChecked());
}

TEST_F(VolumeUnit, MaskDecidesWhatIsShownAndTheMinimumHeight)
{
    CVolumeUnit bare(0);
    CVolumeUnit full(CVolumeUnit::MuteButton | CVolumeUnit::SoloButton | CVolumeUnit::Label
                     | CVolumeUnit::LinkButton);
    ASSERT_TRUE(showAt(bare, 60, 300));
    ASSERT_TRUE(showAt(full, 60, 300));
    EXPECT_TRUE(bare.edit()->isVisible());
    EXPECT_TRUE(bare.slider()->isVisible());
    EXPECT_FALSE(bare.muteButton()->isVisible());
    EXPECT_FALSE(bare.labelWidget()->isVisible());
    EXPECT_TRUE(full.soloButton()->isVisible());
    EXPECT_EQ(bare.minimumSizeHint(), QSize(45, 140));
    EXPECT_GT(full.minimumSizeHint().height(), 140 + 3 * 14);
    EXPECT_EQ(full.sizeHint() - full.minimumSizeHint(), QSize(10, 20));
}

TEST_F(VolumeUnit, LabelChangesThroughTheDialogOnlyWhenANewNonEmptyTextIsGiven)
{
    CVolumeUnit unit(CVolumeUnit::Label);
    ASSERT_TRUE(showAt(unit, 60, 300));
    QSignalSpy labels(&unit, &CVolumeUnit::labelChanged);
    std::optional<QString> answer = QStringLiteral("Vocals");
    QString askedTitle;
    CDialogSeam::setTextPrompt([&](QWidget*, const QString& title, const QString&, const QString&) {
        askedTitle = title;
        return answer;
    });
    const QPoint onLabel = unit.labelWidget()->geometry().center();
    QTest::mouseClick(&unit, Qt::LeftButton, {}, onLabel);
    EXPECT_EQ(askedTitle, QStringLiteral("Label Dialog"));
    ASSERT_EQ(labels.count(), 1);
    EXPECT_EQ(labels.at(0).at(0).toString(), QStringLiteral("Vocals"));
    EXPECT_EQ(unit.labelWidget()->text(), QStringLiteral("Vocals"));

    answer = QString();
    QTest::mouseClick(&unit, Qt::LeftButton, {}, onLabel);
    answer = std::nullopt;
    QTest::mouseClick(&unit, Qt::LeftButton, {}, onLabel);
    unit.setLabel(QStringLiteral("Vocals"));
    EXPECT_EQ(labels.count(), 1);
    EXPECT_EQ(unit.label(), QStringLiteral("Vocals"));

    askedTitle.clear();
    QTest::mouseClick(&unit, Qt::LeftButton, {}, unit.slider()->geometry().bottomLeft() + QPoint(0, 3));
    EXPECT_TRUE(askedTitle.isEmpty());
    CDialogSeam::setTextPrompt({});
}
