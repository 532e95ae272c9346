// What a user meets around takes: a disk too slow for a take (held on purpose through
// the recorder's disk seam) is reported once and named on the status line while the take
// loses audio; takes a crash left unfinished are offered for repair when the program
// starts, a damaged one named and left alone; a recording folder that cannot take files
// is reported at the start.

#include "app/CStatusLine.h"
#include "tests/support/AudioGraphProbe.h"
#include "app/CTakeFolderCheck.h"
#include "audiofile/CAudioFile.h"
#include "audiofile/CUnfinishedTake.h"
#include "graph/CAudioGraph.h"
#include "tests/app/robustness/FakeDriverSession.h"
#include "tests/audiofile/AudioFileHarness.h"
#include "tests/audiofile/RecordedWave.h"
#include "widgets/CRecordingSinkSelection.h"

#include <QCheckBox>
#include <QFileInfo>
#include <QLabel>

namespace {

using wavetest::DiskGate;

class TakeFaults : public FakeDriverSession {
protected:
    CRecordingSinkSelection* sinks() const { return app->recordingSinks(); }
    QString file(int sink) const { return dir.file(sinks()->fileLabel(sink)->text()); }
    CAudioFile* recorder(int sink) const { return CAudioGraphProbe(*app->session().graph()).audioFile(CAudioGraph::sinkStage(sink)); }
};

// A take of 3000 frames of the grid signal that a crash left without its sizes.
void writeUnfinishedTake(const QString& path, int channels)
{
    {
        CWaveFile wave;
        ASSERT_EQ(wave.create(path, channels, 44100, waveTagPcm, 3, 0), waveOk);
        wave.writeSamples(wavetest::gridBytes24(0, 3000, channels));
    }
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadWrite));
    file.seek(4);
    file.write("    ");
    file.seek(CWaveFile::recordingHeaderSize - 4);
    file.write("    ");
}

QByteArray contents(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

TEST_F(TakeFaults, ADiskTooSlowForATakeIsReportedOnceAndTheTakeKeepsEverythingBeforeTheCut)
{
    ASSERT_NO_FATAL_FAILURE(open());
    DiskGate gate;
    recorder(CAudioGraph::sinkArray)->setDiskHook(gate.hook());
    sinks()->sinkSwitch(0)->setChecked(true);
    sinks()->sinkSwitch(1)->setChecked(true);
    press(CAudioTransport::PlayButton);
    press(CAudioTransport::RecordButton);
    const QString mic = file(0), out = file(1);

    // The array's disk side moves nothing: the ring (four buffers of five seconds) fills.
    const int ringBlocks = 4 * 5 * (44100 / blockLength());
    runBlocks(ringBlocks + 30);
    ASSERT_TRUE(QTest::qWaitFor([&] { return !dialogs.warnings.empty(); }, 5000));
    const QString& text = dialogs.warnings[0].text;
    EXPECT_TRUE(text.contains(QDir::toNativeSeparators(QFileInfo(mic).absoluteFilePath()))) << text.toStdString();
    EXPECT_TRUE(text.contains(QStringLiteral("cut at 0:00:19"))) << text.toStdString();
    ASSERT_TRUE(QTest::qWaitFor([&] { return app->statusLine()->text().contains(QStringLiteral("losing audio")); },
                                2000));

    // The take goes on losing audio without another word; the beams record on.
    runBlocks(100);
    QTest::qWait(200);
    EXPECT_EQ(dialogs.warnings.size(), 1u);
    EXPECT_TRUE(down(CAudioTransport::RecordButton));

    gate.open();
    press(CAudioTransport::RecordButton);
    ASSERT_TRUE(QTest::qWaitFor([&] { return !app->statusLine()->text().contains(QStringLiteral("losing")); }, 2000));
    const RecordedWave array = readRecordedWave(mic);
    EXPECT_EQ(array.frames, std::int64_t(ringBlocks) * blockLength());
    EXPECT_TRUE(array.sizesAgree);
    EXPECT_EQ(readRecordedWave(out).frames, std::int64_t(ringBlocks + 130) * blockLength());

    // The next take starts whole and quiet.
    press(CAudioTransport::RecordButton);
    runBlocks(5);
    press(CAudioTransport::RecordButton);
    EXPECT_EQ(readRecordedWave(file(0)).frames, 5 * blockLength());
    EXPECT_EQ(dialogs.warnings.size(), 1u);
}

TEST_F(TakeFaults, UnfinishedTakesAreOfferedForRepairAtTheStartAndLeftAloneWhenTheUserDeclines)
{
    const QString take = dir.file(QStringLiteral("array_take.wav"));
    const QString damaged = dir.file(QStringLiteral("beams_take.wav"));
    ASSERT_NO_FATAL_FAILURE(writeUnfinishedTake(take, 32));
    ASSERT_NO_FATAL_FAILURE(writeUnfinishedTake(damaged, 2));
    QFile::resize(damaged, 70); // cut inside its format chunk
    const QByteArray takeBytes = contents(take), damagedBytes = contents(damaged);

    dialogs.buttons = {QMessageBox::No};
    ASSERT_NO_FATAL_FAILURE(open());
    ASSERT_EQ(dialogs.questions.size(), 1u);
    const QString& question = dialogs.questions[0].text;
    EXPECT_TRUE(question.contains(QStringLiteral("array_take.wav (0:00:00 recorded)"))) << question.toStdString();
    EXPECT_TRUE(question.contains(QStringLiteral("beams_take.wav: its 'fmt ' chunk runs past the end")))
        << question.toStdString();
    EXPECT_EQ(contents(take), takeBytes);
    EXPECT_EQ(contents(damaged), damagedBytes);
}

TEST_F(TakeFaults, AnUnfinishedTakeRepairedAtTheStartReadsWholeInOtherPrograms)
{
    const QString take = dir.file(QStringLiteral("array_take.wav"));
    const QString damaged = dir.file(QStringLiteral("beams_take.wav"));
    ASSERT_NO_FATAL_FAILURE(writeUnfinishedTake(take, 32));
    ASSERT_NO_FATAL_FAILURE(writeUnfinishedTake(damaged, 2));
    QFile::resize(damaged, 70);
    const QByteArray damagedBytes = contents(damaged);

    dialogs.buttons = {QMessageBox::Yes};
    ASSERT_NO_FATAL_FAILURE(open());
    ASSERT_EQ(dialogs.questions.size(), 1u);
    const RecordedWave repaired = readRecordedWave(take);
    EXPECT_EQ(repaired.channels, 32);
    EXPECT_EQ(repaired.frames, 3000);
    EXPECT_TRUE(repaired.sizesAgree);
    EXPECT_EQ(contents(damaged), damagedBytes);
    EXPECT_TRUE(dialogs.warnings.empty()) << dialogs.warningTexts().join(u'\n').toStdString();
}

TEST_F(TakeFaults, ARecordingFolderThatCannotTakeFilesIsReportedAtTheStart)
{
    // Run as root, permissions never refuse: a folder that is gone, and a plain file.
    apptest::writeText(dir.file(QStringLiteral("plain")), "x");
    CTakeFolderCheck::run(nullptr, QStringLiteral("Vantoria"),
                          {dir.file(QStringLiteral("gone")), dir.file(QStringLiteral("plain")), dir.path()});
    ASSERT_EQ(dialogs.warnings.size(), 2u) << dialogs.warningTexts().join(u'\n').toStdString();
    EXPECT_TRUE(dialogs.warnings[0].text.contains(QStringLiteral("gone: it does not exist")));
    EXPECT_TRUE(dialogs.warnings[1].text.contains(QStringLiteral("plain: it is not a folder")));
    EXPECT_TRUE(dialogs.questions.empty());
}
