// The Ambisonics and binaural values the user set survive a rebuild: the new graph gives
// what a graph set up directly with the same values gives, sample for sample; ear filters
// made for another rate are not set but asked to be designed again.

#include "session/CGraphSession.h"

#include "binaural/CBinauralFilters.h"
#include "tests/support/CoreApplication.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace {

constexpr int kBlock = 256;

vkAudioInterface format(int channels, float rate) { return vkAudioInterface::timeDomain(channels, rate, kBlock); }

// Ear e of channel c: an impulse at tap c, signed by ear.
std::shared_ptr<const CBinauralFilters> filtersAt(double rate)
{
    constexpr int taps = 20;
    std::vector<float> data(std::size_t(16 * 2 * taps), 0.0f);
    for (int c = 0; c < 16; ++c)
        for (int e = 0; e < 2; ++e)
            data[std::size_t((c * 2 + e) * taps + c)] = (e ? -0.1f : 0.1f) * float(c + 1);
    return std::make_shared<const CBinauralFilters>(taps, rate, std::move(data));
}

struct Blocks {
    explicit Blocks(unsigned seed) : rng(seed), in(32, std::vector<float>(kBlock)), out(2, std::vector<float>(kBlock))
    {
        for (auto& c : in)
            inPtr.push_back(c.data());
        for (auto& c : out)
            outPtr.push_back(c.data());
    }
    int run(vkAudioClass& graph)
    {
        std::normal_distribution<float> noise(0.0f, 0.01f);
        for (auto& c : in)
            for (float& x : c)
                x = noise(rng);
        return graph.process(inPtr.data(), outPtr.data(), kBlock);
    }
    std::mt19937 rng;
    std::vector<std::vector<float>> in, out;
    std::vector<float*> inPtr, outPtr;
};

TEST(GraphSessionAmbisonics, ARebuiltGraphEqualsOneSetUpDirectly)
{
    core_application::application();
    CGraphSession session;
    ASSERT_EQ(session.setInputMode(CAudioGraph::inputLive), vkOk);
    ASSERT_EQ(session.build(format(32, 44100.0f), format(2, 44100.0f)), vkOk);
    ASSERT_EQ(session.setAmbisonicsFormat(2, AmbiNorm::kN3d), vkOk);
    ASSERT_EQ(session.setMountingOrientation({30.0f, -20.0f, 180.0f}), vkOk);
    ASSERT_EQ(session.setHeadOrientation({-40.0f, 10.0f, 0.0f}), vkOk);
    ASSERT_EQ(session.setBinauralFilters(filtersAt(44100.0), "marked"), vkOk);
    session.setBinauralReader(true);
    ASSERT_EQ(session.build(format(32, 44100.0f), format(2, 44100.0f)), vkOk);
    EXPECT_FALSE(session.hrtfNeedsDesign());

    CAudioGraph direct;
    ASSERT_EQ(direct.setInputMode(CAudioGraph::inputLive), vkOk);
    ASSERT_EQ(direct.configure(format(32, 44100.0f), format(2, 44100.0f)), vkOk);
    ASSERT_EQ(direct.setAmbisonicsFormat(2, AmbiNorm::kN3d), vkOk);
    ASSERT_EQ(direct.setMountingOrientation(30.0f, -20.0f, 180.0f), vkOk);
    ASSERT_EQ(direct.setHeadOrientation({-40.0f, 10.0f, 0.0f}), vkOk);
    ASSERT_EQ(direct.setBinauralFilters(*filtersAt(44100.0)), vkOk);
    direct.setBinauralReader(true);

    ASSERT_EQ(session.processor()->start(), vkOk);
    ASSERT_EQ(direct.start(), vkOk);
    Blocks a(3), b(3);
    float loudest = 0.0f;
    for (int block = 0; block < 8; ++block) {
        ASSERT_EQ(a.run(*session.processor()), vkOk);
        ASSERT_EQ(b.run(direct), vkOk);
        for (int c = 0; c < 16; ++c)
            for (int i = 0; i < kBlock; ++i)
                ASSERT_EQ(session.graph()->ambisonicsBus()->channel(c)[i], direct.ambisonicsBus()->channel(c)[i]);
        for (int e = 0; e < 2; ++e)
            for (int i = 0; i < kBlock; ++i) {
                const float x = session.graph()->binauralBus()->channel(e)[i];
                ASSERT_EQ(x, direct.binauralBus()->channel(e)[i]);
                loudest = std::max(loudest, std::abs(x));
            }
    }
    EXPECT_GT(loudest, 0.0f);
    session.processor()->stop();
    direct.stop();

    // At another rate the kept filters do not fit: the ears stay silent until new ones come.
    ASSERT_EQ(session.build(format(32, 48000.0f), format(2, 48000.0f)), vkOk);
    EXPECT_TRUE(session.hrtfNeedsDesign());
    EXPECT_EQ(session.hrtfPath(), "marked");
    ASSERT_EQ(session.processor()->start(), vkOk);
    for (int block = 0; block < 4; ++block)
        ASSERT_EQ(a.run(*session.processor()), vkOk);
    for (int e = 0; e < 2; ++e)
        for (int i = 0; i < kBlock; ++i)
            ASSERT_EQ(session.graph()->binauralBus()->channel(e)[i], 0.0f);
    session.processor()->stop();
}

} // namespace
