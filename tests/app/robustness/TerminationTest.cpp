// A termination signal (Ctrl+C, a shutdown) while a take runs: the program ends as closing
// its window does, without a question nobody may be there to answer; the settings are
// written and every take is a whole wave file of what was recorded.

#include "app/CTerminationSignals.h"
#include "tests/app/robustness/FakeDriverSession.h"
#include "tests/audiofile/RecordedWave.h"
#include "widgets/CBeamSelection.h"
#include "widgets/CBeamSelectionTrack.h"
#include "widgets/CRecordingSinkSelection.h"
#include "widgets/CVolumeUnit.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFile>
#include <QLabel>
#include <QProcess>
#include <QSignalSpy>

#include <csignal>

namespace {

using Termination = FakeDriverSession;

// Whether process `pid` catches `signal`: its bit in the SigCgt mask of /proc.
bool catches(qint64 pid, int signal)
{
    QFile status(QStringLiteral("/proc/%1/status").arg(pid));
    if (!status.open(QIODevice::ReadOnly))
        return false;
    for (QByteArray line = status.readLine(); !line.isEmpty(); line = status.readLine())
        if (line.startsWith("SigCgt:"))
            return (line.mid(7).trimmed().toULongLong(nullptr, 16) >> (signal - 1)) & 1;
    return false;
}

} // namespace

TEST_F(Termination, ASignalDuringATakeFinishesItsFilesAndWritesTheSettingsWithoutAsking)
{
    ASSERT_NO_FATAL_FAILURE(open());
    CTerminationSignals termination;
    ASSERT_TRUE(termination.installed());
    QObject::connect(&termination, &CTerminationSignals::received, app.get(), &CZircApp::quitOnSignal);
    QSignalSpy received(&termination, &CTerminationSignals::received);

    CRecordingSinkSelection* sinks = app->recordingSinks();
    sinks->sinkSwitch(0)->setChecked(true);
    sinks->sinkSwitch(1)->setChecked(true);
    press(CAudioTransport::PlayButton);
    press(CAudioTransport::RecordButton);
    ASSERT_TRUE(down(CAudioTransport::RecordButton));
    runBlocks(50);
    QComboBox* pattern = app->beamSelection()->track(0)->patternBox();
    pattern->setCurrentIndex(pattern->currentIndex() == 0 ? 1 : 0);
    ASSERT_TRUE(app->beamSelection()->isDirty());
    app->outputVolume()->setVolume(-9.0f);
    const QString mic = dir.file(sinks->fileLabel(0)->text());
    const QString out = dir.file(sinks->fileLabel(1)->text());
    const int beams = app->beamSelection()->numTracks();
    const std::int64_t frames = 50 * blockLength();

    ASSERT_EQ(std::raise(SIGTERM), 0);
    ASSERT_TRUE(received.wait(5000));
    EXPECT_EQ(received.takeFirst().at(0).toInt(), SIGTERM);
    EXPECT_TRUE(dialogs.questions.empty());
    EXPECT_FLOAT_EQ(CZircSettings::load(QStringLiteral("vantoria.ini")).mOutputMasterVolume, -9.0f);

    app.reset(); // what the program does once its event loop has ended
    for (const auto& [path, channels] : {std::pair{mic, 32}, std::pair{out, beams}}) {
        const RecordedWave wave = readRecordedWave(path);
        EXPECT_EQ(wave.channels, channels) << path.toStdString();
        EXPECT_EQ(wave.frames, frames) << path.toStdString();
        EXPECT_TRUE(wave.sizesAgree) << path.toStdString();
    }
}

// The program itself, on the emulated hardware: SIGTERM ends it normally, settings written.
TEST_F(Termination, TheProgramEndsNormallyOnSigterm)
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    QProcess program;
    program.setProcessEnvironment(env);
    program.setWorkingDirectory(dir.path());
    program.start(QStringLiteral(VK_PROGRAM), {});
    ASSERT_TRUE(program.waitForStarted());
    // Once the handler is in place the signal is the program's to handle.
    ASSERT_TRUE(QTest::qWaitFor([&] { return catches(program.processId(), SIGTERM); }, 60000))
        << program.readAllStandardError().toStdString();
    program.terminate();
    ASSERT_TRUE(program.waitForFinished(30000));
    EXPECT_EQ(program.exitStatus(), QProcess::NormalExit) << program.readAllStandardError().toStdString();
    EXPECT_EQ(program.exitCode(), 0);
    EXPECT_TRUE(QFile::exists(dir.file(QStringLiteral("vantoria.ini"))));
}
