// End to end: a noise source on the left of the modelled sphere, rendered block by block
// through the graph session with the binaural monitor on two outputs and one beam on
// another, while a sender on the loopback interface picks the beam's pattern, steers it
// onto the source and turns the listener's head round. Both show in the output: the beam
// gains the source, and the louder ear changes sides.
#include "OscLoopback.h"

#include "emulation/CSceneSignal.h"
#include "emulation/CSoundScene.h"
#include "remote/CRemoteControl.h"
#include "session/CGraphSession.h"
#include "tests/support/CoreApplication.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace oscloop;

namespace {
constexpr float kRate = 48000.0f;
constexpr int kBlock = 512;
// Beam 1 on output 0, the ears on outputs 2 and 3.
constexpr int kOutputs = 4;
constexpr int kLeftEar = 2;
constexpr int kRightEar = 3;
const char* const kKemar = "/usr/share/libmysofa/default.sofa";

struct Energies {
    double beam = 0.0;
    double left = 0.0;
    double right = 0.0;
};

class Render {
public:
    explicit Render(CGraphSession& session)
        : mSession(session)
        , mScene(kRate)
        , mIn(CGraphSession::kCapsules, std::vector<float>(kBlock))
        , mOut(kOutputs, std::vector<float>(kBlock))
    {
        // On the left in the room (AmbiX azimuth 90) and, upright, the array's phi 90.
        mScene.addSource(90.0f, 90.0f, CSceneSignal(CSceneSignal::Kind::Noise, kRate, 0.1f, 7));
        for (auto& c : mIn)
            mInPointers.push_back(c.data());
        for (auto& c : mOut)
            mOutPointers.push_back(c.data());
    }
    // `blocks` blocks; the energy of the last `measured` of them.
    Energies run(int blocks, int measured)
    {
        Energies e;
        for (int b = 0; b < blocks; ++b) {
            mScene.render(mInPointers.data(), kBlock);
            EXPECT_EQ(mSession.processor()->process(mInPointers.data(), mOutPointers.data(), kBlock), 0);
            if (b < blocks - measured)
                continue;
            for (int i = 0; i < kBlock; ++i) {
                e.beam += double(mOut[0][i]) * mOut[0][i];
                e.left += double(mOut[kLeftEar][i]) * mOut[kLeftEar][i];
                e.right += double(mOut[kRightEar][i]) * mOut[kRightEar][i];
            }
        }
        return e;
    }

private:
    CGraphSession& mSession;
    CSoundScene mScene;
    std::vector<std::vector<float>> mIn;
    std::vector<std::vector<float>> mOut;
    std::vector<float*> mInPointers;
    std::vector<float*> mOutPointers;
};

double decibels(double ratio) { return 10.0 * std::log10(ratio); }
} // namespace

TEST(RemoteRender, HeadTurnAndBeamSteeredOverOscShowInTheRenderedOutput)
{
    core_application::application();
    CGraphSession session;
    const vkAudioInterface in = vkAudioInterface::timeDomain(CGraphSession::kCapsules, kRate, kBlock);
    const vkAudioInterface out = vkAudioInterface::timeDomain(kOutputs, kRate, kBlock);
    ASSERT_EQ(session.setInputMode(CAudioGraph::inputLive), 0);
    ASSERT_EQ(session.setNumBeams(1), 0);
    ASSERT_EQ(session.build(in, out), 0);
    std::string message;
    ASSERT_EQ(session.loadHrtf(kKemar, message), 0) << message;
    const int ears[2] = {kLeftEar, kRightEar};
    ASSERT_EQ(session.setMonitorOutputs(ears, 2), 0);
    session.setMonitorSource(CAudioGraph::monitorBinaural, 0);
    session.setMonitorEnabled(true);
    session.steer(0, 90.0f, 270.0f);  // away from the source, on the right
    ASSERT_EQ(session.processor()->start(), 0);

    CRemoteControl remote(session);
    const int port = startOnFreePort([&](int p, std::string& m) { return remote.start(p, m); });
    ASSERT_NE(port, 0);
    Sender send(port);
    lo_send(send.address(), "/vantoria/beam/1/pattern", "s", "hyper3");
    ASSERT_TRUE(waitFor([&] { return remote.counts().accepted == 1; }));
    remote.apply();

    Render render(session);
    const Energies quiet = render.run(60, 30);
    lo_send(send.address(), "/vantoria/beam/1/aed", "fff", 90.0f, 0.0f, 2.0f);
    lo_send(send.address(), "/vantoria/ypr", "fff", 180.0f, 0.0f, 0.0f);
    ASSERT_TRUE(waitFor([&] { return remote.counts().accepted == 3; }));
    const CRemoteControl::Changes changes = remote.apply();
    EXPECT_TRUE(changes.head);
    EXPECT_TRUE(changes.direction.test(0));
    const Energies moved = render.run(60, 30);
    session.processor()->stop();

    EXPECT_EQ(remote.counts().malformed, 0u);
    // The beam turned from the source's opposite side onto it (broadband noise: the
    // patterns widen at low frequencies, so less than a tone's contrast).
    EXPECT_GT(decibels(moved.beam / quiet.beam), 6.0);
    // Facing front the source is on the left; with the head turned round, on the right,
    // by as much.
    const double facing = decibels(quiet.left / quiet.right);
    const double turned = decibels(moved.left / moved.right);
    EXPECT_GT(facing, 2.0);
    EXPECT_LT(turned, -2.0);
    EXPECT_NEAR(facing, -turned, 1.5);
}
