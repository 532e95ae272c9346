// A whole session as a user has it: three beam tracks, each picked and pointed by mouse
// clicks on the two displays at one source of the emulated scene and given a pattern,
// then recorded. Each recorded beam is measured against the sources' own dry signals
// (tests/support/SourceSeparation.h): it carries its own source at least 10 dB above the
// other two. Live from the emulated array, and from a 32-channel file of the same scene,
// where the navigator also follows the play and a section set with the mouse plays in a
// loop.
//
// The timeline: the emulated driver renders its scene from its first block (the scene goes
// on across Stop and Play), and a sink armed before Play records from that same block. So live, the recording's
// frame n is the scene's sample n, which the array recording proves sample by sample.
// A file is read by the disk thread after Play; the player gives silent blocks until the
// first buffer is in and then the file from its start, so there the beams lag the file by
// some whole blocks that nothing in the application reports: that delay is fitted.

#include "emulation/CEmulatedHardware.h"
#include "audiofile/CAudioFile.h"
#include "emulation/CEmulatedDriver.h"
#include "emulation/CHardwareModel.h"
#include "tests/app/MainWindowFixture.h"
#include "tests/support/DefaultScene.h"
#include "tests/support/SndfileWave.h"
#include "tests/support/SoxWave.h"
#include "tests/support/SourceSeparation.h"
#include "widgets/CAudioFileNavigator.h"
#include "widgets/CBeamSelectionTrack.h"
#include "widgets/CInputSourceSelection.h"
#include "widgets/CInputVolume.h"
#include "widgets/COnOffButton.h"
#include "widgets/CRecordingSinkSelection.h"

#include <QCheckBox>
#include <QComboBox>
#include <QElapsedTimer>
#include <QLabel>
#include <QPushButton>
#include <QRadioButton>

#include <algorithm>

using sndfile_wave::Channels;
using sndfile_wave::readWave;
using source_separation::DryFit;
using source_separation::Shares;
using source_separation::SourceSeparation;

namespace {

constexpr int kRate = 44100;
constexpr int kBlock = CEmulatedDriver::kPreferredBlock;
constexpr long kSkip = kRate;         // beams gliding to their directions, new patterns faded in
constexpr long kWindow = 2 * kRate;   // measured
constexpr int kMaxLateBlocks = 64;    // how late a file may start playing after Play
constexpr long kTake = kSkip + kWindow + kMaxLateBlocks * kBlock;

// The default scene's sources, in the order of CSoundScene::addDefaultSources, and the
// pattern each beam gets: one of each family.
struct Aim {
    int phi;
    int theta;
    const char* pattern;
};
constexpr Aim kAims[3] = {{30, 90, "card3"}, {150, 60, "hyper3"}, {270, 120, "super3"}};

class ThreeBeamSession : public MainWindowFixture {
protected:
    // A third track, and each pointed at its source with its pattern.
    void aimThreeBeams()
    {
        CBeamSelection* tracks = app->beamSelection();
        tracks->addButton()->click();
        ASSERT_EQ(tracks->numTracks(), 3);
        for (int i = 0; i < 3; ++i) {
            ASSERT_NO_FATAL_FAILURE(steer(i, kAims[i].phi, kAims[i].theta));
            QComboBox* patterns = tracks->track(i)->patternBox();
            patterns->setCurrentIndex(patterns->findText(QString::fromLatin1(kAims[i].pattern)));
            ASSERT_EQ(tracks->track(i)->patternText(), QString::fromLatin1(kAims[i].pattern));
            EXPECT_EQ(tracks->phi(i), kAims[i].phi);
            EXPECT_EQ(tracks->theta(i), kAims[i].theta);
            EXPECT_EQ(graphPhi(i), float(kAims[i].phi));
            EXPECT_EQ(graphTheta(i), float(kAims[i].theta));
        }
    }

    // The sinks switched on are armed, then Play: they record from the stream's first block.
    void recordFromTheFirstBlock()
    {
        press(CAudioTransport::RecordButton);
        press(CAudioTransport::PlayButton);
        ASSERT_TRUE(hostIsRunning());
    }
    // Stop once the beams' sink holds `frames`; Stop ends the recording too.
    void stopOnceRecorded(long frames)
    {
        EXPECT_TRUE(QTest::qWaitFor([&] { return app->session().takePosition(CAudioGraph::sinkBeams) >= frames; }, 30000));
        press(CAudioTransport::StopButton);
        EXPECT_FALSE(hostIsRunning());
        EXPECT_FALSE(app->transport()->button(CAudioTransport::RecordButton)->isChecked());
        EXPECT_TRUE(app->recordingSinks()->isEnabled());
    }

    QString recorded(int sink) const { return dir.file(app->recordingSinks()->fileLabel(sink)->text()); }

    // Each beam, `delay` frames behind the scene's timeline, against the dry signals.
    static void expectSeparated(const Channels& beams, const default_scene::Take& scene, long delay)
    {
        ASSERT_GE(beams.frames(), delay + kSkip + kWindow);
        const SourceSeparation separation(scene.dry, kSkip, kWindow);
        for (int b = 0; b < 3; ++b) {
            const Shares shares = separation.measure(beams.data[std::size_t(b)].data() + kSkip + delay);
            // The fits account for the beam: nothing else is in it, nothing was lost.
            EXPECT_GT(shares.explained(), 0.95) << "beam " << b;
            for (int s = 0; s < 3; ++s) {
                if (s == b)
                    continue;
                EXPECT_GE(shares.marginDb(b, s), 10.0) << "beam " << b << " over source " << s;
            }
        }
    }
};

// The array sink holds the scene's capsule signals from the stream's first sample, each at
// the level that preamp and slider give once calibration has taken the capsule's own
// error out. The calibration block has steps of 1/4096 dB and the path two 24-bit
// quantisations, so 0.01 dB and a residue 50 dB down are ample; a recording one sample
// off, or a capsule left uncalibrated (0.05 to 0.6 dB), fails.
void expectArrayRecording(const Channels& mic, const default_scene::Take& scene, const CHardwareModel& model,
                          float sliderGain)
{
    for (int c = 0; c < CSoundScene::kCapsules; ++c) {
        const std::vector<float>& m = mic.data[std::size_t(c)];
        const std::vector<float>& x = scene.capsules[std::size_t(c)];
        double mx = 0.0, xx = 0.0, mm = 0.0, ee = 0.0;
        for (std::size_t n = 0; n < m.size(); ++n) {
            mx += double(m[n]) * x[n];
            xx += double(x[n]) * x[n];
            mm += double(m[n]) * m[n];
        }
        const double gain = mx / xx;
        for (std::size_t n = 0; n < m.size(); ++n)
            ee += (m[n] - gain * x[n]) * (m[n] - gain * x[n]);
        const double residue = ee / mm;
        const double expectedDb =
            model.preampDb(c) + CHardwareModel::kSensitivityDb + 20.0 * std::log10(double(sliderGain));
        EXPECT_NEAR(20.0 * std::log10(gain), expectedDb, 0.01) << "capsule " << c;
        EXPECT_LT(residue, 1e-5) << "capsule " << c;
    }
}

} // namespace

TEST_F(ThreeBeamSession, LiveEachBeamCarriesItsSourceTenDecibelsAboveTheOthers)
{
    ASSERT_NO_FATAL_FAILURE(open());
    EXPECT_TRUE(QTest::qWaitFor([&] { return app->session().calibrated(); }, 3000));
    ASSERT_NO_FATAL_FAILURE(aimThreeBeams());
    app->recordingSinks()->sinkSwitch(CAudioGraph::sinkArray)->setChecked(true);
    app->recordingSinks()->sinkSwitch(CAudioGraph::sinkBeams)->setChecked(true);
    ASSERT_NO_FATAL_FAILURE(recordFromTheFirstBlock());
    stopOnceRecorded(kSkip + kWindow);
    EXPECT_TRUE(dialogs.warnings.empty());

    const QString micFile = recorded(CAudioGraph::sinkArray), outFile = recorded(CAudioGraph::sinkBeams);
    EXPECT_EQ(soxInfo(micFile, "-c"), 32);
    EXPECT_EQ(soxInfo(outFile, "-c"), 3);
    const Channels mic = readWave(micFile), out = readWave(outFile);
    ASSERT_EQ(mic.channels(), 32);
    ASSERT_EQ(out.channels(), 3);
    EXPECT_EQ(mic.sampleRate, kRate);
    EXPECT_EQ(soxInfo(micFile, "-s"), mic.frames());
    EXPECT_EQ(soxInfo(outFile, "-s"), out.frames());
    EXPECT_EQ(mic.frames(), out.frames()); // both sinks ran over the same blocks

    const default_scene::Take scene = default_scene::render(kRate, mic.frames());
    expectArrayRecording(mic, scene, app->session().emulation()->model(), app->inputVolume()->sliderGain());
    // The beams' sink started with the array's, so the fit finds them on the same timeline.
    const DryFit tune(scene.dry[0], kSkip, kRate / 4);
    EXPECT_EQ(source_separation::fitDelay(out.data[0].data(), out.frames(), tune, kSkip, kBlock, 8), 0);
    expectSeparated(out, scene, 0);
}

TEST_F(ThreeBeamSession, FromAFileOfTheSceneTheBeamsComeOutAndASectionPlaysInALoop)
{
    constexpr long kFileFrames = kTake + kRate;
    const default_scene::Take scene = default_scene::render(kRate, kFileFrames);
    const Channels array{kRate, scene.capsules};
    const QString sensorFile = dir.file(QStringLiteral("scene.wav"));
    ASSERT_TRUE(sndfile_wave::writeWave(sensorFile, array, SF_FORMAT_PCM_24));

    ASSERT_NO_FATAL_FAILURE(open());
    app->inputSource()->modeButton(CInputSourceSelection::File)->click();
    dialogs.fileAnswer = sensorFile;
    app->inputSource()->loadButton()->click();
    ASSERT_EQ(app->session().graph()->processingMode(), CAudioGraph::processingBeamforming);
    CAudioFileNavigator* navigator = app->navigator();
    ASSERT_EQ(navigator->numSamples(), kFileFrames);
    ASSERT_NO_FATAL_FAILURE(aimThreeBeams());

    // The beams from the file's start; the navigator follows the play.
    app->recordingSinks()->sinkSwitch(CAudioGraph::sinkBeams)->setChecked(true);
    ASSERT_NO_FATAL_FAILURE(recordFromTheFirstBlock());
    EXPECT_TRUE(QTest::qWaitFor([&] { return navigator->currentSample() > kRate; }, 10000));
    stopOnceRecorded(kTake);
    EXPECT_TRUE(dialogs.warnings.empty());
    const QString outFile = recorded(CAudioGraph::sinkBeams);
    EXPECT_EQ(soxInfo(outFile, "-c"), 3);
    const Channels out = readWave(outFile);
    ASSERT_EQ(out.channels(), 3);
    const DryFit tune(scene.dry[0], kSkip, kRate / 4);
    const long delay = source_separation::fitDelay(out.data[0].data(), out.frames(), tune, kSkip, kBlock, kMaxLateBlocks);
    ASSERT_GE(delay, 0);
    expectSeparated(out, scene, delay);

    // A section dragged on the navigator's bar, from one second to two: played, the
    // position stays in it and wraps to its start. The position arrives by the window's
    // timer, so it may pass the end by the ticks that a loaded machine delays.
    const int y = navigator->height() * 3 / 4;
    QTest::mousePress(navigator, Qt::LeftButton, {}, QPoint(int(navigator->xOfSample(kRate)), y));
    QTest::mouseMove(navigator, QPoint(int(navigator->xOfSample(1.5 * kRate)), y));
    QTest::mouseRelease(navigator, Qt::LeftButton, {}, QPoint(int(navigator->xOfSample(2 * kRate)), y));
    const int start = navigator->start(), end = navigator->end();
    EXPECT_NEAR(start, kRate, kRate / 100);
    EXPECT_NEAR(end, 2 * kRate, kRate / 100);
    press(CAudioTransport::PlayButton);
    int wraps = 0, previous = navigator->currentSample(), lowest = previous, highest = previous;
    QElapsedTimer played;
    played.start();
    while (played.elapsed() < 2500) {
        QTest::qWait(5);
        const int now = navigator->currentSample();
        wraps += now < previous;
        lowest = std::min(lowest, now);
        highest = std::max(highest, now);
        previous = now;
    }
    press(CAudioTransport::StopButton);
    EXPECT_GE(wraps, 1);
    EXPECT_GE(lowest, start);
    EXPECT_LE(highest, end + kRate / 4) << "end " << end;
}
