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

#include <QSignalSpy>
#include <QTemporaryDir>

#include <gtest/gtest.h>

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
