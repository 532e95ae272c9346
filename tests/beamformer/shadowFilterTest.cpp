// The shadow filter as a filter: its fixed latency against a direct convolution, its
// fade curves, its configuration results.

#include "beamformer/vkxShadowFilter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

namespace {
vkAudioInterface format(int channels, int block, float rate = 44100.0f)
{
    return vkAudioInterface::timeDomain(channels, rate, block);
}

std::vector<float> randomSignal(int samples, unsigned seed)
{
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> u(-1.0f, 1.0f);
    std::vector<float> x(samples);
    for (float& v : x)
        v = u(rng);
    return x;
}

// y[t] = sum taps[j] x[t - shift - j] in double precision.
std::vector<double> convolve(const std::vector<float>& x, const std::vector<float>& taps, int shift)
{
    std::vector<double> y(x.size(), 0.0);
    for (size_t t = 0; t < x.size(); ++t)
        for (size_t j = 0; j < taps.size(); ++j) {
            const long s = static_cast<long>(t) - shift - static_cast<long>(j);
            if (s >= 0)
                y[t] += static_cast<double>(taps[j]) * x[s];
        }
    return y;
}
} // namespace

TEST(ShadowFilter, EveryLengthIsPaddedToTheFilterDelay)
{
    // trunc(12.9) = 12: 25 taps get no padding, one tap all 12 samples, an even length
    // L gets 12 - ((L - 1) >> 1), and length 0 is the plain delay.
    constexpr int kBlock = 64;
    const auto x = randomSignal(400, 1);
    std::mt19937 rng(2);
    std::uniform_real_distribution<float> u(-1.0f, 1.0f);
    for (const int length : {25, 1, 6, 0}) {
        std::vector<float> taps(length);
        for (float& t : taps)
            t = u(rng);
        vkxShadowFilter filter;
        ASSERT_EQ(filter.setFormat(format(1, kBlock), format(1, kBlock)), 0);
        ASSERT_EQ(filter.setFilterDelay(12.9f), 0);
        ASSERT_EQ(filter.setFilter(length, taps.data()), 0);
        const std::vector<float> plain{1.0f};
        const auto ref = length > 0 ? convolve(x, taps, 12 - ((length - 1) >> 1)) : convolve(x, plain, 12);
        std::vector<float> y(x.size());
        for (size_t at = 0; at < x.size(); at += 37) {
            const int n = static_cast<int>(std::min<size_t>(37, x.size() - at));
            float* in = const_cast<float*>(x.data()) + at;
            float* out = y.data() + at;
            ASSERT_EQ(filter.process(&in, &out, n), 0);
        }
        for (size_t t = 0; t < y.size(); ++t)
            ASSERT_NEAR(y[t], ref[t], 1e-5) << length << " " << t;
    }
}

TEST(ShadowFilter, EveryChannelRunsTheSameFilter)
{
    constexpr int kBlock = 50;
    vkxShadowFilter filter;
    ASSERT_EQ(filter.setFormat(format(3, kBlock), format(3, kBlock)), 0);
    ASSERT_EQ(filter.setFilterDelay(2.0f), 0);
    const std::vector<float> taps{0.25f, 0.5f, 0.25f};
    ASSERT_EQ(filter.setFilter(3, taps.data()), 0);
    std::vector<std::vector<float>> x{randomSignal(kBlock, 3), randomSignal(kBlock, 4), randomSignal(kBlock, 5)};
    std::vector<std::vector<float>> y(3, std::vector<float>(kBlock));
    float* in[3] = {x[0].data(), x[1].data(), x[2].data()};
    float* out[3] = {y[0].data(), y[1].data(), y[2].data()};
    ASSERT_EQ(filter.process(in, out, kBlock), 0);
    for (int ch = 0; ch < 3; ++ch) {
        const auto ref = convolve(x[ch], taps, 1);
        for (int t = 0; t < kBlock; ++t)
            ASSERT_NEAR(y[ch][t], ref[t], 1e-6) << ch << " " << t;
    }
}

TEST(ShadowFilter, FadeLastsFiveTimeConstantsAndItsCurvesSumToOne)
{
    for (const auto& [rate, length] : std::vector<std::pair<float, int>>{{44100.0f, 11025}, {48000.0f, 12000}}) {
        vkxShadowFilterBanks banks;
        ASSERT_EQ(banks.buildFade(rate, vkxShadowFilter::kFadeTimeConstantMs), 0);
        ASSERT_EQ(banks.fadeLength(), length);
        for (int i = 0; i < length; ++i) {
            ASSERT_NEAR(banks.fadeOut()[i], std::exp(-i / (0.05 * rate)), 1e-6) << i;
            ASSERT_NEAR(banks.fadeIn()[i] + banks.fadeOut()[i], 1.0f, 1e-7f) << i;
        }
        EXPECT_EQ(banks.fadeOut()[0], 1.0f);
        EXPECT_NEAR(banks.fadeOut()[length - 1], 0.0067f, 1e-4f);
    }
}

TEST(ShadowFilter, WithoutAFilterNothingIsWritten)
{
    constexpr int kBlock = 16;
    vkxShadowFilter filter;
    std::vector<float> x(kBlock, 1.0f), y(kBlock, -3.0f);
    float* in = x.data();
    float* out = y.data();
    EXPECT_EQ(filter.process(&in, &out, kBlock), vkErrNotConfigured);
    ASSERT_EQ(filter.setFormat(format(1, kBlock), format(1, kBlock)), 0);
    ASSERT_EQ(filter.setFilterDelay(3.0f), 0);
    EXPECT_EQ(filter.process(&in, &out, kBlock), 0);
    for (float v : y)
        ASSERT_EQ(v, -3.0f);
}

TEST(ShadowFilter, RefusalsLeaveTheFilterInForce)
{
    constexpr int kBlock = 16;
    vkxShadowFilter filter;
    EXPECT_EQ(filter.setFormat(format(1, kBlock), format(1, kBlock, 48000.0f)), vkErrFormat);
    vkAudioInterface frequency = format(1, kBlock);
    frequency.setDomain(1);
    EXPECT_EQ(filter.setFormat(frequency, frequency), vkErrFormat);
    ASSERT_EQ(filter.setFormat(format(1, kBlock), format(1, kBlock)), 0);
    EXPECT_EQ(filter.setFilterDelay(-1.0f), vkErrRange);
    ASSERT_EQ(filter.setFilterDelay(2.0f), 0);
    const float gain = 2.0f;
    ASSERT_EQ(filter.setFilter(1, &gain), 0);
    const std::vector<float> tooLong(6, 1.0f);
    EXPECT_EQ(filter.setFilter(6, tooLong.data()), vkxShadowFilter::kErrFilterTooLong);
    EXPECT_EQ(filter.setFilter(3, nullptr), vkErrRange);
    EXPECT_EQ(filter.setFilter(-1, &gain), vkErrRange);
    EXPECT_TRUE(filter.hasPendingFilter());  // the accepted filter, waiting for the next block

    ASSERT_EQ(filter.start(), 0);
    EXPECT_EQ(filter.setFormat(format(1, kBlock), format(1, kBlock)), vkErrStarted);
    EXPECT_EQ(filter.setFilterDelay(1.0f), vkErrStarted);
    std::vector<float> x(kBlock, 1.0f), y(kBlock);
    float* in = x.data();
    float* out = y.data();
    EXPECT_EQ(filter.process(&in, &out, kBlock + 1), vkErrFormat);
    ASSERT_EQ(filter.process(&in, &out, kBlock), 0);
    EXPECT_EQ(y[1], 0.0f);
    EXPECT_EQ(y[2], 2.0f);
    EXPECT_EQ(y[kBlock - 1], 2.0f);

    vkxShadowFilter noChannel;
    ASSERT_EQ(noChannel.setFormat(format(0, kBlock), format(0, kBlock)), 0);
    EXPECT_EQ(noChannel.setFilter(1, &gain), vkxShadowFilter::kErrNoChannel);
}
