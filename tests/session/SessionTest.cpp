// A session without any window, as a remote control or a script would run one: on the
// emulated hardware, steer two beams at two sources of the scene, record them from the
// stream's first block, stop, and measure the take against the sources' dry signals. Then
// the values the user set survive a rebuild, which ends a take in progress first.

#include "session/CSession.h"
#include "emulation/CEmulatedHardware.h"
#include "tests/support/CoreApplication.h"
#include "tests/support/DefaultScene.h"
#include "tests/support/SndfileWave.h"
#include "tests/support/SourceSeparation.h"

#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace {

using core_application::runEventsUntil;

constexpr int kRate = 44100;
constexpr long kSkip = kRate;       // beams gliding to their directions, patterns faded in
constexpr long kWindow = 2 * kRate; // measured

struct Aim {
    float theta;
    float phi;
    const char* pattern;
};
// The first two sources of the default scene (CSoundScene::addDefaultSources).
constexpr Aim kAims[2] = {{90.0f, 30.0f, "card3"}, {60.0f, 150.0f, "hyper3"}};

int patternIndex(const CAudioGraph& graph, const char* wanted)
{
    for (int p = 0; p < graph.patternCount(); ++p) {
        char name[64] = {};
        char parameter[64] = {};
        int values[16] = {};
        if (graph.patternNames(p, name, parameter, values) == 0 && std::string(name) == wanted)
            return p;
    }
    return -1;
}

class Session : public ::testing::Test {
protected:
    void SetUp() override
    {
        core_application::application();
        ASSERT_TRUE(dir.isValid());
        CZircSettings settings = CZircSettings::defaults();
        settings.mInputMode = CAudioGraph::inputLive;
        settings.write(ini());
        session = std::make_unique<CSession>(ini());
        QObject::connect(session.get(), &CSession::warning, [this](const QString& text) { warnings << text; });
        session->open();
        ASSERT_EQ(session->graphResult(), 0);
        ASSERT_NE(session->emulation(), nullptr);
        ASSERT_EQ(session->graph()->inputMode(), CAudioGraph::inputLive);
    }
    void TearDown() override
    {
        session.reset();
        EXPECT_TRUE(warnings.isEmpty()) << warnings.join(QLatin1Char('\n')).toStdString();
    }
    QString ini() const { return dir.filePath(QStringLiteral("session.ini")); }
    // Runs the event loop until the beams' take holds `frames`; fails only when the take
    // stops growing for the helper's whole limit (the stream may run slower than real time
    // on a loaded machine or under a sanitizer, but it must run).
    bool recordUntil(long frames)
    {
        for (;;) {
            const long before = session->takePosition(CAudioGraph::sinkBeams);
            if (runEventsUntil([&] { return session->takePosition(CAudioGraph::sinkBeams) >= frames; }))
                return true;
            if (session->takePosition(CAudioGraph::sinkBeams) == before)
                return false;
        }
    }
    void aim()
    {
        CGraphSession& values = session->values();
        values.setNumBeams(2);
        for (int b = 0; b < 2; ++b) {
            const int pattern = patternIndex(*session->graph(), kAims[b].pattern);
            ASSERT_GE(pattern, 0) << kAims[b].pattern;
            values.setPattern(b, pattern, 0);
            values.steer(b, kAims[b].theta, kAims[b].phi);
        }
    }

    QTemporaryDir dir;
    std::unique_ptr<CSession> session;
    QStringList warnings;
};

TEST_F(Session, StartsSteersRecordsAndStopsWithoutAWindow)
{
    ASSERT_NO_FATAL_FAILURE(aim());
    QSignalSpy stopped(session.get(), &CSession::takesStopped);
    const QString path = dir.filePath(QStringLiteral("beams.wav"));
    EXPECT_EQ(session->startTake(CAudioGraph::sinkBeams, [&] { return path; }), path);
    ASSERT_TRUE(session->start());
    EXPECT_TRUE(session->recording());
    ASSERT_TRUE(recordUntil(kSkip + kWindow));
    session->stopTakes();
    session->stop();
    EXPECT_FALSE(session->running());
    EXPECT_FALSE(session->recording());
    ASSERT_EQ(stopped.count(), 1);
    EXPECT_TRUE(stopped.at(0).at(0).toStringList().isEmpty()) << "the disk refused the take";

    // Each beam carries its own source at least 10 dB above the other one.
    const sndfile_wave::Channels beams = sndfile_wave::readWave(path);
    ASSERT_EQ(beams.data.size(), 2u);
    ASSERT_GE(beams.frames(), kSkip + kWindow);
    const default_scene::Take scene = default_scene::render(kRate, kSkip + kWindow);
    const source_separation::SourceSeparation separation(scene.dry, kSkip, kWindow);
    for (int b = 0; b < 2; ++b) {
        const source_separation::Shares shares = separation.measure(beams.data[std::size_t(b)].data() + kSkip);
        EXPECT_GT(shares.explained(), 0.95) << "beam " << b;
        EXPECT_GE(shares.marginDb(b, 1 - b), 10.0) << "beam " << b;
    }
}

TEST_F(Session, ARebuildEndsTheTakeAndKeepsEveryValueTheUserSet)
{
    ASSERT_NO_FATAL_FAILURE(aim());
    CGraphSession& values = session->values();
    values.setBeamGain(1, 0.5f);
    values.setHighpass(2);
    ASSERT_TRUE(session->start());
    QSignalSpy stopped(session.get(), &CSession::takesStopped);
    QSignalSpy rebuilt(session.get(), &CSession::graphRebuilt);
    const QString path = dir.filePath(QStringLiteral("cut.wav"));
    ASSERT_EQ(session->startTake(CAudioGraph::sinkBeams, [&] { return path; }), path);
    ASSERT_TRUE(recordUntil(4097));

    const CAudioGraph* before = session->graph();
    session->settings().mNumOutputChannels = 4;
    ASSERT_EQ(session->rebuild(), 0);
    EXPECT_NE(session->graph(), before);
    EXPECT_EQ(stopped.count(), 1);
    EXPECT_EQ(rebuilt.count(), 1);
    EXPECT_FALSE(session->recording());
    EXPECT_TRUE(session->running()) << "a running stream plays on";
    EXPECT_GT(sndfile_wave::readWave(path).frames(), 4096) << "the take was finished in its file";

    const CAudioGraph& graph = *session->graph();
    EXPECT_EQ(graph.numBeams(), 2);
    EXPECT_EQ(values.highpass(), 2);
    EXPECT_FLOAT_EQ(values.beam(1).gain, 0.5f);
    // The engine takes the kept directions up again as the new stream runs.
    ASSERT_TRUE(runEventsUntil([&] { return graph.beamPhi(1) == kAims[1].phi; }));
    EXPECT_FLOAT_EQ(graph.beamTheta(1), kAims[1].theta);
    EXPECT_FLOAT_EQ(graph.beamPhi(0), kAims[0].phi);
    session->stop();
}

// The ear filters come from a worker: the default set at start-up, then a file that is
// refused leaves them in force. The Ambisonics values go to the settings and survive a
// rebuild, which at the same rate designs nothing again.
TEST_F(Session, EarFiltersLoadOnAWorkerAndAmbisonicsValuesAreKept)
{
    QSignalSpy loaded(session.get(), &CSession::hrtfLoaded);
    const QString kemar = CZircSettings::defaults().mHrtfFile;
    ASSERT_TRUE(runEventsUntil([&] { return loaded.count() == 1; }));
    EXPECT_EQ(loaded.at(0).at(0).toString(), kemar);
    EXPECT_EQ(loaded.at(0).at(1).toString(), QString());
    EXPECT_EQ(session->values().hrtfPath(), kemar.toStdString());
    EXPECT_EQ(session->binauralLatency(), 128);

    const QString bad = dir.filePath(QStringLiteral("not.sofa"));
    QFile text(bad);
    ASSERT_TRUE(text.open(QIODevice::WriteOnly));
    text.write("not a SOFA file\n");
    text.close();
    session->loadHrtf(bad);
    EXPECT_TRUE(session->hrtfLoading());
    ASSERT_TRUE(runEventsUntil([&] { return loaded.count() == 2; }));
    EXPECT_EQ(loaded.at(1).at(0).toString(), bad);
    EXPECT_FALSE(loaded.at(1).at(1).toString().isEmpty());
    EXPECT_EQ(session->values().hrtfPath(), kemar.toStdString()) << "the filters in force stay";
    EXPECT_EQ(session->settings().mHrtfFile, kemar);

    ASSERT_TRUE(session->start());
    EXPECT_EQ(session->setAmbisonicsFormat(2, AmbiNorm::kN3d), 0);
    EXPECT_TRUE(session->running()) << "the stream plays on after the change";
    EXPECT_EQ(session->setAmbisonicsFormat(4, AmbiNorm::kSn3d), vkErrRange);
    EXPECT_EQ(session->setMountingOrientation({0.0f, std::nanf(""), 0.0f}), vkErrRange);
    EXPECT_EQ(session->setMountingOrientation({90.0f, 0.0f, 180.0f}), 0);
    EXPECT_EQ(session->setHeadOrientation({-30.0f, 5.0f, 0.0f}), 0);
    const CZircSettings& s = session->settings();
    EXPECT_EQ(s.mAmbiOrder, 2);
    EXPECT_EQ(s.mAmbiNorm, 1);
    EXPECT_FLOAT_EQ(s.mMountingYaw, 90.0f);
    EXPECT_FLOAT_EQ(s.mMountingRoll, 180.0f);
    EXPECT_FLOAT_EQ(s.mHeadYaw, -30.0f);

    ASSERT_EQ(session->rebuild(), 0);
    EXPECT_EQ(session->graph()->ambisonicsOrder(), 2);
    EXPECT_EQ(session->graph()->ambisonicsNorm(), AmbiNorm::kN3d);
    EXPECT_FLOAT_EQ(session->values().mounting().yaw, 90.0f);
    EXPECT_FALSE(session->hrtfLoading()) << "filters at the graph's rate are set again, not designed";
    EXPECT_FALSE(session->values().hrtfNeedsDesign());
    session->stop();
}

// Without the emulation and without any driver the session says so once and offers
// only files.
TEST(SessionWithoutHardware, SaysWhyNothingPlays)
{
    core_application::application();
    QTemporaryDir dir;
    CZircSettings settings = CZircSettings::defaults();
    settings.mEmulateHardware = false;
    const QString ini = dir.filePath(QStringLiteral("none.ini"));
    settings.write(ini);
    qputenv("JACK_NO_START_SERVER", "1");
    qputenv("JACK_DEFAULT_SERVER", "vk_session_test_no_server");
    CSession session(ini);
    QStringList warnings;
    QObject::connect(&session, &CSession::warning, [&](const QString& text) { warnings << text; });
    session.open();
    EXPECT_FALSE(session.device().isOpen()) << session.device().mDevice.toStdString();
    ASSERT_FALSE(warnings.isEmpty());
    EXPECT_TRUE(warnings.first().startsWith(QStringLiteral("No ASIO device available."))) << warnings.first().toStdString();
    EXPECT_EQ(session.settings().mInputMode, CAudioGraph::inputFile) << "no live input without a device";
}

} // namespace
