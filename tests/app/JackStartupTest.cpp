// With the emulation switched off the program selects among the real drivers: on a machine
// whose only audio is a JACK server, that server is offered, opened and run, and a beam
// above full scale reaches its port unclipped.

#include "app/CBeamPanel.h"
#include "app/CZircApp.h"
#include "box/CZibControl.h"
#include "graph/CAudioGraph.h"
#include "device/drivers/CJackDriver.h"
#include "emulation/CSoundScene.h"
#include "device/vkHost.h"
#include "stages/vkLevelSource.h"
#include "tests/app/AppTestSupport.h"
#include "tests/support/DummyJackServer.h"
#include "tests/support/JackTestClient.h"

#include <QTest>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <optional>
#include <string>

using apptest::WorkingDirectory;

namespace {
class JackStartup : public ::testing::Test {
protected:
    static void SetUpTestSuite() { sServer.emplace(); }
    static void TearDownTestSuite() { sServer.reset(); }
    void SetUp() override
    {
        ASSERT_TRUE(sServer->running()) << "jackd did not start or does not answer";
        CZircSettings s;
        s.mEmulateHardware = false;
        s.write(QStringLiteral("vantoria.ini"));
    }
    void TearDown() override { hostInit(); }

    static inline std::optional<DummyJackServer> sServer;
    WorkingDirectory dir;
    DialogAnswers dialogs;
};
} // namespace

TEST_F(JackStartup, TheServerIsOfferedOpenedAndRuns)
{
    dialogs.itemAnswer = QString::fromLatin1(CJackDriver::kName);
    CZircApp app;

    EXPECT_TRUE(dialogs.offeredItems.contains(QString::fromLatin1(CJackDriver::kName)));
    EXPECT_FALSE(dialogs.offeredItems.contains(QStringLiteral("ASIO TCAT Dice EVM Platform")));
    EXPECT_EQ(app.session().box()->mPortState.load(), 0); // nothing answers as the box
    EXPECT_TRUE(dialogs.warnings.empty());
    EXPECT_EQ(app.session().device().mDevice, QString::fromLatin1(CJackDriver::kName));
    EXPECT_EQ(app.session().device().mBlockLength, 512);
    EXPECT_EQ(app.windowTitle(), QStringLiteral("Vantoria -- beta -- (fs = 44.1kHz, )"));
    ASSERT_EQ(app.session().graphResult(), 0);
    EXPECT_EQ(app.session().graph()->inputMode(), CAudioGraph::inputLive);

    app.start();
    ASSERT_TRUE(hostIsRunning());
    // Silence from the server still carries the graph's anti-denormal offset to the meter.
    float peaks[32] = {};
    float envelopes[32] = {};
    vkLevelSource& level = app.session().levels(CAudioGraph::levelInput);
    EXPECT_TRUE(QTest::qWaitFor([&] {
        level.takeLevels(peaks, envelopes, 32);
        return peaks[31] > 0.0f;
    }, 5000));
    app.stop();
    EXPECT_FALSE(hostIsRunning());
}

namespace {
// A 1 kHz plane wave of amplitude 2 (6 dB over full scale) from theta 90, phi 0 on the
// modelled sphere, played into the program's 32 inputs by a client of the test's own.
struct PlaneWaveSource {
    static constexpr float kAmplitude = 2.0f;
    PlaneWaveSource() { scene.addSource(90.0f, 0.0f, CSceneSignal(CSceneSignal::Kind::Sine, 44100.0, kAmplitude)); }
    static int process(jack_nframes_t frames, void* self)
    {
        auto* s = static_cast<PlaneWaveSource*>(self);
        float* capsules[CSoundScene::kCapsules];
        for (int c = 0; c < CSoundScene::kCapsules; ++c)
            capsules[c] = s->client.buffer(c, frames);
        s->scene.render(capsules, static_cast<int>(frames));
        return 0;
    }
    CSoundScene scene{44100.0};
    JackTestClient client{"vk_plane_wave", true, CSoundScene::kCapsules};
};

// The largest magnitude arriving at its one input, from the moment it is armed.
struct PeakReader {
    static int process(jack_nframes_t frames, void* self)
    {
        auto* r = static_cast<PeakReader*>(self);
        if (!r->armed.load())
            return 0;
        const float* in = r->client.buffer(0, frames);
        float peak = r->peak.load(std::memory_order_relaxed);
        for (jack_nframes_t i = 0; i < frames; ++i)
            peak = std::max(peak, std::fabs(in[i]));
        r->peak.store(peak, std::memory_order_relaxed);
        r->frames.fetch_add(frames);
        return 0;
    }
    JackTestClient client{"vk_peak_reader", false, 1};
    std::atomic<bool> armed{false};
    std::atomic<float> peak{0.0f};
    std::atomic<long> frames{0};
};
} // namespace

// The first beam steered at the wave with every gain at 0 dB carries the wave's amplitude:
// JACK takes floats, so twice full scale arrives as such, where an integer driver would
// have clipped it at 1.
TEST_F(JackStartup, ABeamSixDecibelsOverFullScaleReachesTheServerUnclipped)
{
    dialogs.itemAnswer = QString::fromLatin1(CJackDriver::kName);
    CZircApp app;
    ASSERT_EQ(app.session().graphResult(), 0);
    ASSERT_EQ(app.session().graph()->inputMode(), CAudioGraph::inputLive);
    app.setInputGain(1.0f);
    app.setOutputMasterGain(1.0f);
    app.beamPanel()->setOutputGain(0, 1.0f);
    app.setMonitorStatus(false);
    app.beamPanel()->updateTheta(0, 90);
    app.beamPanel()->updatePhi(0, 0);

    PlaneWaveSource source;
    PeakReader reader;
    ASSERT_TRUE(source.client.ok() && reader.client.ok());
    ASSERT_TRUE(source.client.activate(PlaneWaveSource::process, &source));
    ASSERT_TRUE(reader.client.activate(PeakReader::process, &reader));
    app.start();
    ASSERT_TRUE(hostIsRunning());
    for (int c = 0; c < CSoundScene::kCapsules; ++c)
        ASSERT_TRUE(source.client.connect(c, std::string("vantoria:in_").append(std::to_string(c + 1)), true)) << c;
    ASSERT_TRUE(reader.client.connect(0, "vantoria:out_1", false));
    // Past the filters' settling: half a second.
    QTest::qWait(500);
    reader.armed = true;
    EXPECT_TRUE(QTest::qWaitFor([&] { return reader.frames.load() > 44100; }, 5000));
    reader.armed = false;
    app.stop();

    const float peak = reader.peak.load();
    EXPECT_GT(peak, 1.0f) << "clipped at full scale";
    EXPECT_NEAR(20.0f * std::log10(peak / PlaneWaveSource::kAmplitude), 0.0f, 1.0f) << "peak " << peak;
    EXPECT_TRUE(dialogs.warnings.empty());
}
