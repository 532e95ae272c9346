#include "widgets/CInputSourceSelection.h"
#include "widgets/CMonitorUnit.h"
#include "widgets/CRecordingSinkSelection.h"
#include "widgets/CVolumeUnit.h"
#include "tests/support/DialogAnswers.h"
#include "WidgetTestSupport.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QPushButton>
#include <QRadioButton>
#include <QSignalSpy>

#include <cmath>

#include <gtest/gtest.h>

using namespace widgettest;

TEST(InputSourceSelection, EveryClickReportsTheModeAndSettersStaySilent)
{
    CInputSourceSelection input(QString{});
    ASSERT_TRUE(showAt(input, 300, 80));
    QSignalSpy modes(&input, &CInputSourceSelection::modeChanged);
    QSignalSpy names(&input, &CInputSourceSelection::fileNameChanged);

    QTest::mouseClick(input.modeButton(CInputSourceSelection::File), Qt::LeftButton);
    QTest::mouseClick(input.modeButton(CInputSourceSelection::Live), Qt::LeftButton);
    ASSERT_EQ(modes.count(), 2);
    EXPECT_EQ(modes[0][0].toInt(), CInputSourceSelection::File); // already checked, still reported
    EXPECT_EQ(modes[1][0].toInt(), CInputSourceSelection::Live);

    input.setMode(CInputSourceSelection::File);
    input.setFileName(QStringLiteral("/data/takes/a.b.wav"));
    EXPECT_EQ(modes.count() + names.count(), 2);
    EXPECT_TRUE(input.modeButton(CInputSourceSelection::File)->isChecked());
    EXPECT_EQ(input.fileLabel()->text(), "a");
    EXPECT_EQ(input.fileLabel()->toolTip(), "/data/takes/a.b.wav");
    EXPECT_EQ(input.directory(), "/data/takes");

    input.setModeEnabled(CInputSourceSelection::File, false);
    EXPECT_FALSE(input.loadButton()->isEnabled());
    EXPECT_TRUE(input.modeButton(CInputSourceSelection::Live)->isEnabled());
    input.setMode(static_cast<CInputSourceSelection::tMode>(2));
    EXPECT_EQ(input.mode(), CInputSourceSelection::File);
}

TEST(InputSourceSelection, FileDialogStartsInTheFileFolderAndACancelChangesNothing)
{
    DialogAnswers answers;
    CInputSourceSelection input(QString{});
    input.setFileName(QStringLiteral("/data/takes/first.wav"));
    QSignalSpy names(&input, &CInputSourceSelection::fileNameChanged);

    input.openFileDialog();
    EXPECT_EQ(names.count(), 0);
    EXPECT_EQ(input.fileName(), "/data/takes/first.wav");
    EXPECT_EQ(input.fileLabel()->text(), "first");
    ASSERT_EQ(answers.fileRequests.size(), 1u);
    EXPECT_EQ(answers.fileRequests[0].start, "/data/takes");
    EXPECT_EQ(answers.fileRequests[0].filter, "Wav Files (*.wav);;All Files (*)");

    answers.fileAnswer = QStringLiteral("/other/second.wav");
    input.openFileDialog();
    ASSERT_EQ(names.count(), 1);
    EXPECT_EQ(names[0][0].toString(), "/other/second.wav");
    EXPECT_EQ(input.directory(), "/other");
}

TEST(MonitorUnit, ChannelListHoldsInputsThenOutputsThenBinaural)
{
    CMonitorUnit monitor(32, 8);
    QSignalSpy channels(&monitor, &CMonitorUnit::channelChanged);
    ASSERT_EQ(monitor.channelBox()->count(), 41);
    EXPECT_EQ(monitor.channelBox()->itemText(40), "binaural");
    EXPECT_EQ(monitor.channelBox()->itemText(31), "32 (input)");
    EXPECT_EQ(monitor.channelBox()->itemText(32), "1 (output)");

    monitor.channelBox()->setCurrentIndex(32);
    ASSERT_EQ(channels.count(), 1);
    EXPECT_EQ(channels[0][0].toInt(), 1);
    EXPECT_EQ(channels[0][1].toInt(), 0);

    for (auto [inout, channel] : {std::pair{1, 8}, {0, -1}, {1, -1}, {2, 1}, {2, -1}, {3, 0}, {0, 32}})
        monitor.setChannel(inout, channel);
    EXPECT_EQ(channels.count(), 1);
    EXPECT_EQ(monitor.channelBox()->currentIndex(), 32);

    monitor.setChannel(0, 5);
    ASSERT_EQ(channels.count(), 2);
    EXPECT_EQ(monitor.section(), 0);
    EXPECT_EQ(monitor.channel(), 5);

    // The last entry is the binaural scene, one "channel" of its own.
    monitor.setChannel(CMonitorUnit::BinauralSection, 0);
    ASSERT_EQ(channels.count(), 3);
    EXPECT_EQ(channels[2][0].toInt(), CMonitorUnit::BinauralSection);
    EXPECT_EQ(channels[2][1].toInt(), 0);
    EXPECT_EQ(monitor.section(), CMonitorUnit::BinauralSection);
    EXPECT_EQ(monitor.channel(), 0);
    monitor.setChannel(1, 7);
    EXPECT_EQ(monitor.channelBox()->currentIndex(), 39);
    EXPECT_EQ(monitor.section(), 1);
    EXPECT_EQ(monitor.channel(), 7);
}

TEST(MonitorUnit, StatusFromCodeIsSilentAndVolumeGivesTheGain)
{
    CMonitorUnit monitor(2, 2);
    ASSERT_TRUE(showAt(monitor, 200, 200));
    QSignalSpy statuses(&monitor, &CMonitorUnit::statusChanged);
    QSignalSpy gains(&monitor, &CMonitorUnit::gainChanged);
    monitor.setStatus(true);
    EXPECT_EQ(statuses.count(), 0);
    QTest::mouseClick(monitor.statusBox(), Qt::LeftButton, {}, QPoint(5, monitor.statusBox()->height() / 2));
    ASSERT_EQ(statuses.count(), 1);
    EXPECT_FALSE(statuses[0][0].toBool());

    monitor.setVolume(-6);
    EXPECT_EQ(monitor.volume(), -6);
    ASSERT_EQ(gains.count(), 1);
    EXPECT_NEAR(gains[0][0].toFloat(), std::pow(10.0, -0.3), 1e-5);
    EXPECT_FLOAT_EQ(monitor.gain(), gains[0][0].toFloat());
}

TEST(RecordingSinkSelection, NamesCarryDateAndTimeOfTheClock)
{
    CRecordingSinkSelection sinks({QStringLiteral("input"), QStringLiteral("output")});
    sinks.setBaseName(0, QStringLiteral("mic"));
    sinks.setBaseName(5, QStringLiteral("nowhere"));
    QDateTime now(QDate(2026, 1, 31), QTime(14, 5, 9));
    sinks.setClock([&now] { return now; });

    EXPECT_EQ(sinks.fileName(0), "mic_013126_140509.wav");
    EXPECT_EQ(sinks.fileName(1), "file1_013126_140509.wav");
    EXPECT_TRUE(sinks.fileName(2).isEmpty());
    EXPECT_TRUE(sinks.fileName(-1).isEmpty());

    const QString first = sinks.filePath(0);
    EXPECT_EQ(first, "./mic_013126_140509.wav");
    EXPECT_EQ(sinks.fileLabel(0)->text(), "mic_013126_140509.wav");
    now = now.addSecs(1);
    EXPECT_NE(sinks.filePath(0), first);
    EXPECT_EQ(sinks.fileLabel(0)->text(), "mic_013126_140510.wav");
}

TEST(RecordingSinkSelection, RunningTimeCountsWholeSecondsRoundTheClock)
{
    CRecordingSinkSelection sinks({QStringLiteral("input"), QStringLiteral("output")});
    EXPECT_EQ(sinks.timeLabel(1)->text(), "00:00:00");
    sinks.setFs(48000);
    sinks.setFs(0); // ignored
    sinks.setCurrentSample(0, 47999);
    EXPECT_EQ(sinks.timeLabel(0)->text(), "00:00:00");
    sinks.setCurrentSample(0, 48000);
    EXPECT_EQ(sinks.timeLabel(0)->text(), "00:00:01");
    sinks.setFs(1000);
    sinks.setCurrentSample(1, (24 * 3600 + 61) * 1000);
    EXPECT_EQ(sinks.timeLabel(1)->text(), "00:01:01");
    sinks.setCurrentSample(7, 0); // no such sink
}
