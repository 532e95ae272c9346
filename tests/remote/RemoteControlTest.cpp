// The OSC server as a front end of a running graph session: messages sent over the
// loopback interface reach the session's values and the graph through its commands; a
// flood of malformed packets changes nothing while the audio thread runs on; and, end to
// end, a head turn and a steered beam sent over OSC show in the rendered ears and beam.
#include "OscLoopback.h"

#include "emulation/CSceneSignal.h"
#include "emulation/CSoundScene.h"
#include "remote/CRemoteControl.h"
#include "session/CGraphSession.h"
#include "tests/support/CoreApplication.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <random>
#include <thread>

using namespace oscloop;

namespace {
constexpr float kRate = 48000.0f;
constexpr int kBlock = 256;
constexpr int kOutputs = 4;

vkAudioInterface format(int channels) { return vkAudioInterface::timeDomain(channels, kRate, kBlock); }

int patternIndex(const CAudioGraph& graph, const char* wanted)
{
    for (int p = 0; p < graph.patternCount(); ++p) {
        char name[17] = {};
        graph.patternNames(p, name, nullptr, nullptr);
        if (std::string(name) == wanted)
            return p;
    }
    return -1;
}

// Blocks of driver channels and their pointer arrays.
struct Block {
    explicit Block(int channels)
        : samples(static_cast<std::size_t>(channels), std::vector<float>(kBlock, 0.0f))
    {
        for (auto& c : samples)
            pointers.push_back(c.data());
    }
    float** data() { return pointers.data(); }
    std::vector<std::vector<float>> samples;
    std::vector<float*> pointers;
};

class RemoteControlTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        core_application::application();
        ASSERT_EQ(session.build(format(CGraphSession::kCapsules), format(kOutputs)), 0);
        port = startOnFreePort([&](int p, std::string& message) { return remote.start(p, message); });
        ASSERT_NE(port, 0);
        sender = std::make_unique<Sender>(port);
    }
    // Applies what arrives until `accepted` valid messages came in all, then once more.
    CRemoteControl::Changes applyUntil(std::uint64_t accepted)
    {
        CRemoteControl::Changes all;
        EXPECT_TRUE(waitFor([&] {
            const CRemoteControl::Changes c = remote.apply();
            all.head |= c.head;
            all.direction |= c.direction;
            all.pattern |= c.pattern;
            return remote.counts().accepted >= accepted;
        }));
        const CRemoteControl::Changes c = remote.apply();
        all.head |= c.head;
        all.direction |= c.direction;
        all.pattern |= c.pattern;
        return all;
    }

    CGraphSession session;
    CRemoteControl remote{session};
    int port = 0;
    std::unique_ptr<Sender> sender;
};
} // namespace

TEST_F(RemoteControlTest, HeadBeamDirectionAndPatternReachTheSessionAndTheGraph)
{
    lo_send(sender->address(), "/vantoria/ypr", "fff", 30.0f, -10.0f, 5.0f);
    lo_send(sender->address(), "/vantoria/beam/2/aed", "fff", 90.0f, 30.0f, 1.5f);
    lo_send(sender->address(), "/vantoria/beam/1/pattern", "s", "card3");
    const CRemoteControl::Changes changes = applyUntil(3);
    EXPECT_TRUE(changes.head);
    EXPECT_TRUE(changes.direction.test(1));
    EXPECT_EQ(changes.direction.count(), 1u);
    EXPECT_TRUE(changes.pattern.test(0));
    EXPECT_EQ(changes.pattern.count(), 1u);

    EXPECT_FLOAT_EQ(session.head().yaw, 30.0f);
    EXPECT_FLOAT_EQ(session.head().pitch, -10.0f);
    EXPECT_FLOAT_EQ(session.head().roll, 5.0f);
    // Upright: AmbiX azimuth is the array's phi, elevation 90 - theta.
    EXPECT_NEAR(session.beam(1).theta, 60.0f, 1e-4f);
    EXPECT_NEAR(session.beam(1).phi, 90.0f, 1e-4f);
    EXPECT_NEAR(session.graph()->beamTheta(1), 60.0f, 1e-4f);
    EXPECT_NEAR(session.graph()->beamPhi(1), 90.0f, 1e-4f);
    EXPECT_EQ(session.beam(0).pattern, patternIndex(*session.graph(), "card3"));
}

TEST_F(RemoteControlTest, BeamDirectionFollowsTheArraysMounting)
{
    ASSERT_EQ(session.setMountingOrientation({0.0f, 0.0f, 180.0f}), 0);
    lo_send(sender->address(), "/vantoria/beam/1/aed", "iii", 90, 30, 1);
    applyUntil(1);
    // Upside down: the room's left is the array's right, the room's up its down.
    EXPECT_NEAR(session.beam(0).theta, 120.0f, 1e-4f);
    EXPECT_NEAR(session.beam(0).phi, 270.0f, 1e-4f);
}

TEST_F(RemoteControlTest, PatternKeepsTheBeamsParameterWhereTheNewPatternHasIt)
{
    const int card3 = patternIndex(*session.graph(), "card3");
    const int omni = patternIndex(*session.graph(), "omni");
    ASSERT_GE(card3, 0);
    ASSERT_GE(omni, 0);
    session.setPattern(0, card3, 1);
    lo_send(sender->address(), "/vantoria/beam/1/pattern", "i", card3);
    applyUntil(1);
    EXPECT_EQ(session.beam(0).parameter, 1);
    lo_send(sender->address(), "/vantoria/beam/1/pattern", "i", omni);
    applyUntil(2);
    EXPECT_EQ(session.beam(0).pattern, omni);
    EXPECT_EQ(session.beam(0).parameter, 0);
}

TEST_F(RemoteControlTest, BeamsBeyondTheWindowsTracksAreRefused)
{
    remote.setBeamCount(2);
    lo_send(sender->address(), "/vantoria/beam/3/aed", "fff", 90.0f, 0.0f, 1.0f);
    lo_send(sender->address(), "/vantoria/beam/2/aed", "fff", 90.0f, 0.0f, 1.0f);
    applyUntil(1);
    EXPECT_EQ(remote.counts().malformed, 1u);
    EXPECT_NEAR(session.beam(1).phi, 90.0f, 1e-4f);
    EXPECT_FLOAT_EQ(session.beam(2).phi, CGraphSession::Beam{}.phi);
}

// The audio thread runs blocks while malformed packets pour in and the control thread
// drains: no value changes, and blocks keep completing during the flood (progress, not
// time, is what is checked).
TEST_F(RemoteControlTest, FloodOfMalformedPacketsChangesNothingAndTheAudioThreadRunsOn)
{
    ASSERT_EQ(session.setNumBeams(2), 0);
    session.steer(0, 70.0f, 40.0f);
    const CGraphSession::Beam before = session.beam(0);
    const CGraphSession::Orientation headBefore = session.head();
    ASSERT_EQ(session.processor()->start(), 0);

    Block in(CGraphSession::kCapsules);
    Block out(kOutputs);
    std::atomic<bool> stopAudio{false};
    std::atomic<long> blocks{0};
    std::thread audio([&] {
        while (!stopAudio.load()) {
            session.processor()->process(in.data(), out.data(), kBlock);
            blocks.fetch_add(1);
        }
    });
    std::atomic<bool> stopFlood{false};
    std::thread flood([&] {
        Sender garbage(port);
        std::mt19937 random(99);
        std::uniform_int_distribution<int> byte(0, 255);
        while (!stopFlood.load()) {
            std::vector<std::uint8_t> bytes(static_cast<std::size_t>(1 + byte(random) % 120));
            for (auto& b : bytes)
                b = static_cast<std::uint8_t>(byte(random));
            garbage.sendBytes(bytes);
            lo_send(garbage.address(), "/vantoria/beam/1/aed", "fff", 10.0f, 95.0f, 1.0f);
            lo_send(garbage.address(), "/vantoria/ypr", "fff", NAN, 0.0f, 0.0f);
        }
    });

    // The flood is under way once malformed packets are counted; from then on the audio
    // thread must complete blocks while the flood goes on.
    ASSERT_TRUE(waitFor([&] { return remote.counts().malformed > 100; }));
    const long startBlocks = blocks.load();
    CRemoteControl::Changes changes;
    ASSERT_TRUE(waitFor([&] {
        const CRemoteControl::Changes c = remote.apply();
        changes.head |= c.head;
        changes.direction |= c.direction;
        return blocks.load() > startBlocks + 200;
    }));
    const std::uint64_t malformedWhileRunning = remote.counts().malformed;
    stopFlood = true;
    flood.join();
    stopAudio = true;
    audio.join();
    session.processor()->stop();

    EXPECT_GT(malformedWhileRunning, 300u);
    EXPECT_EQ(remote.counts().accepted, 0u);
    EXPECT_FALSE(changes.any());
    EXPECT_EQ(session.beam(0).theta, before.theta);
    EXPECT_EQ(session.beam(0).phi, before.phi);
    EXPECT_EQ(session.head().yaw, headBefore.yaw);
    EXPECT_NEAR(session.graph()->beamPhi(0), 40.0f, 1e-4f);
}
