// Recording when something goes wrong while the stream runs: the disk fills up, or the
// options are applied mid-take. Whatever happens, every take that was started ends as a
// wave file of all it recorded, the record button and the sinks show the truth, and the
// stream plays on.

#include "app/COptionPages.h"
#include "app/CZrOptions.h"
#include "tests/app/robustness/FakeDriverSession.h"
#include "tests/audiofile/FileSizeLimit.h"
#include "tests/audiofile/RecordedWave.h"
#include "widgets/CBeamSelection.h"
#include "widgets/CRecordingSinkSelection.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QFileInfo>
#include <QLabel>

#include <cerrno>
#include <cstring>
#include <optional>

namespace {

constexpr int kHeader = 104;
constexpr int kArrayFrameBytes = 32 * 3;

class RecordingFaults : public FakeDriverSession {
protected:
    // Both sinks on, the stream running, and a take started.
    void startTake()
    {
        ASSERT_NO_FATAL_FAILURE(open());
        sinks()->sinkSwitch(0)->setChecked(true);
        sinks()->sinkSwitch(1)->setChecked(true);
        press(CAudioTransport::PlayButton);
        ASSERT_TRUE(hostIsRunning());
        press(CAudioTransport::RecordButton);
        ASSERT_TRUE(down(CAudioTransport::RecordButton));
        ASSERT_FALSE(sinks()->isEnabled());
    }
    CRecordingSinkSelection* sinks() const { return app->recordingSinks(); }
    // The file a sink's label names.
    QString file(int sink) const { return dir.file(sinks()->fileLabel(sink)->text()); }
    int beams() const { return app->beamSelection()->numTracks(); }
    // The record button is up, the sinks can be chosen again, and the stream still plays.
    void expectTakeEndedAndStreamPlaying() const
    {
        EXPECT_FALSE(down(CAudioTransport::RecordButton));
        EXPECT_TRUE(sinks()->isEnabled());
        EXPECT_TRUE(down(CAudioTransport::PlayButton));
        EXPECT_TRUE(hostIsRunning());
    }
};

void expectRecording(const QString& path, int channels, std::int64_t frames)
{
    const RecordedWave wave = readRecordedWave(path);
    EXPECT_EQ(wave.channels, channels) << path.toStdString();
    EXPECT_EQ(wave.frames, frames) << path.toStdString();
    EXPECT_TRUE(wave.sizesAgree) << path.toStdString();
}

} // namespace

TEST_F(RecordingFaults, ADiskThatFillsUpEndsTheTakeWithAMessageAndTheStreamPlaysOn)
{
    // Room for a small part of the array's first buffer (five seconds, 21 MB), and for
    // all the beams' take (6 bytes a frame).
    constexpr qint64 room = 3000000;
    std::optional<FileSizeLimit> limit(std::in_place, rlim_t(kHeader + room));
    ASSERT_TRUE(limit->active());
    ASSERT_NO_FATAL_FAILURE(startTake());
    const QString mic = file(0), out = file(1);

    // The array's take goes to the disk every half second, which refuses it past the
    // room; the window notices on its own timer and ends the take, the beams' too.
    const int blocksPerBuffer = 5 * (44100 / blockLength());
    int recorded = 0;
    for (; recorded < blocksPerBuffer + 10 && down(CAudioTransport::RecordButton); ++recorded)
        runBlock();
    ASSERT_TRUE(QTest::qWaitFor([&] { return !down(CAudioTransport::RecordButton); }, 10000));
    expectTakeEndedAndStreamPlaying();
    ASSERT_EQ(dialogs.warnings.size(), 1u);
    EXPECT_EQ(dialogs.warnings[0].title, QStringLiteral("Vantoria"));
    const QString& text = dialogs.warnings[0].text;
    EXPECT_TRUE(text.contains(QDir::toNativeSeparators(mic))) << text.toStdString();
    EXPECT_TRUE(text.contains(QString::fromLocal8Bit(std::strerror(EFBIG)))) << text.toStdString();

    // Nothing more goes to either file.
    const qint64 outSize = QFileInfo(out).size();
    runBlocks(20);
    EXPECT_EQ(QFileInfo(out).size(), outSize);
    limit.reset();
    expectRecording(mic, 32, room / kArrayFrameBytes);
    expectRecording(out, beams(), std::int64_t(recorded) * blockLength());

    // With room again the next take records, into files of its own.
    press(CAudioTransport::RecordButton);
    runBlocks(7);
    press(CAudioTransport::RecordButton);
    EXPECT_NE(file(0), mic);
    expectRecording(file(0), 32, 7 * blockLength());
    expectRecording(mic, 32, room / kArrayFrameBytes);
    EXPECT_EQ(dialogs.warnings.size(), 1u);
}

TEST_F(RecordingFaults, OptionsAppliedMidTakeFinishItsFilesAndReleaseTheRecordButton)
{
    ASSERT_NO_FATAL_FAILURE(startTake());
    const QString mic = file(0), out = file(1);
    runBlocks(100);

    CMonitorOptions* page = app->optionsWindow()->monitorPage();
    ASSERT_NE(page, nullptr);
    ASSERT_GT(page->offsetCombo()->count(), 1);
    const CAudioGraph* before = app->session().graph();
    page->offsetCombo()->setCurrentIndex(page->offsetCombo()->currentIndex() == 0 ? 1 : 0);
    ASSERT_NE(app->session().graph(), before) << "the options did not rebuild the graph";
    expectTakeEndedAndStreamPlaying();
    EXPECT_EQ(file(0), mic) << "the labels still name the files of the take";
    EXPECT_EQ(file(1), out);
    runBlocks(10);
    expectRecording(mic, 32, 100 * blockLength());
    expectRecording(out, beams(), 100 * blockLength());
    EXPECT_TRUE(dialogs.warnings.empty());

    // The new graph records as the old one did, and the finished take stays as it was.
    press(CAudioTransport::RecordButton);
    runBlocks(5);
    press(CAudioTransport::RecordButton);
    expectRecording(file(0), 32, 5 * blockLength());
    expectRecording(file(1), beams(), 5 * blockLength());
    expectRecording(mic, 32, 100 * blockLength());
}
