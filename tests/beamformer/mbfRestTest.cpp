// A block in which the direction stands still is steered with constant gains. Its output
// must be exactly that of the per-sample gains the glide writes at rest: the same beam is
// run once with both glides and a long rest in one block (per-sample gains throughout)
// and once cut where each glide ends, so that the following blocks take the paths for
// one axis at rest and for both at rest.

#include "beamformer/CMbf.h"
#include "tests/support/AllocationCounter.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace {
constexpr int kBlock = 1024;
constexpr int kTaps = 41;

struct RestBeam {
    explicit RestBeam(const std::vector<std::vector<float>>& taps)
    {
        const auto format = [](int channels) { return vkAudioInterface::timeDomain(channels, 48000.0f, kBlock); };
        EXPECT_EQ(mbf.setFormat(format(16), format(1)), 0);
        EXPECT_EQ(mbf.setFilterDelay((kTaps - 1) / 2), 0);
        const int lengths[4] = {kTaps, kTaps, kTaps, kTaps};
        const float* rows[4] = {taps[0].data(), taps[1].data(), taps[2].data(), taps[3].data()};
        EXPECT_EQ(mbf.setOrderFilters(lengths, rows), 0);
        mbf.setTheta(37.0f);
        mbf.setPhi(358.0f);
        mbf.start();
    }

    // Processes the input in the given blocks, asking for a new direction first.
    std::vector<float> run(const std::vector<std::vector<float>>& input, const std::vector<int>& cuts, float theta,
                           float phi)
    {
        mbf.setTheta(theta);
        mbf.setPhi(phi);
        std::vector<float> out(input[0].size());
        float* in[16];
        AllocationCounter counter;
        int at = 0;
        for (int n : cuts) {
            for (int k = 0; k < 16; ++k)
                in[k] = const_cast<float*>(input[k].data()) + at;
            float* o = out.data() + at;
            EXPECT_EQ(mbf.process(in, &o, n), 0);
            at += n;
        }
        EXPECT_EQ(counter.count(), 0u);
        return out;
    }

    CMbf mbf;
};

std::vector<std::vector<float>> randomRows(int rows, int length, unsigned seed, float amplitude)
{
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> u(-amplitude, amplitude);
    std::vector<std::vector<float>> v(rows, std::vector<float>(length));
    for (auto& row : v)
        for (float& x : row)
            x = u(rng);
    return v;
}
} // namespace

// The polar glide takes 100 samples (37 to 38), the azimuth 300 (358 round to 1): the
// second cut has the polar axis at rest while the azimuth glides, the third both at rest.
TEST(MbfRest, ConstantGainBlocksEqualThePerSampleGains)
{
    const auto taps = randomRows(4, kTaps, 7, 0.2f);
    const auto modes = randomRows(16, 100 + 200 + kBlock, 8, 1.0f);
    RestBeam whole(taps);
    RestBeam cut(taps);
    const std::vector<float> reference = whole.run(modes, {kBlock, 300}, 38.0f, 1.0f);
    const std::vector<float> rest = cut.run(modes, {100, 200, kBlock}, 38.0f, 1.0f);
    for (std::size_t s = 0; s < reference.size(); ++s)
        ASSERT_EQ(rest[s], reference[s]) << "sample " << s;
    for (int s = 0; s < kBlock; ++s) {
        ASSERT_EQ(cut.mbf.thetaTrack()[s], 38) << s;
        ASSERT_EQ(cut.mbf.phiTrack()[s], 1) << s;
    }
}
