// The covariance sums against a direct double-precision band-pass and sum, across blocks
// that straddle the period, and the triple buffer's hand-over on one thread.
#include "soundmap/CModeCovariance.h"
#include "tests/support/AllocationCounter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <random>
#include <vector>

namespace {

constexpr int kModes = 16;
constexpr double kRate = 44100.0;

// The band-pass written out directly: a fourth-order Butterworth high-pass at the low
// edge, an eighth-order low-pass at the high edge, each section from the analog prototype
// by the bilinear transform with the tabulated Butterworth quality factors.
std::vector<double> bandPassed(const std::vector<float>& x)
{
    auto section = [](std::vector<double> in, double corner, double q, bool high) {
        const double k = std::tan(std::numbers::pi * corner / kRate);
        const double norm = 1.0 / (1.0 + k / q + k * k);
        const double b0 = (high ? 1.0 : k * k) * norm, b1 = (high ? -2.0 : 2.0) * b0;
        const double a1 = 2.0 * (k * k - 1.0) * norm, a2 = (1.0 - k / q + k * k) * norm;
        std::vector<double> y(in.size());
        for (size_t t = 0; t < in.size(); ++t) {
            const auto at = [&](const std::vector<double>& v, size_t back) { return t >= back ? v[t - back] : 0.0; };
            y[t] = b0 * in[t] + b1 * at(in, 1) + b0 * at(in, 2) - a1 * at(y, 1) - a2 * at(y, 2);
        }
        return y;
    };
    std::vector<double> y(x.begin(), x.end());
    for (double q : {0.54119610, 1.3065630})
        y = section(y, CModeCovariance::kLowEdge, q, true);
    for (double q : {0.50979558, 0.60134489, 0.89997622, 2.5629154})
        y = section(y, CModeCovariance::kHighEdge, q, false);
    return y;
}

struct Signals {
    explicit Signals(int frames, unsigned seed = 1)
        : data(kModes, std::vector<float>(size_t(frames)))
    {
        std::mt19937 rng(seed);
        std::normal_distribution<float> gauss(0.0f, 0.3f);
        for (auto& channel : data)
            for (float& x : channel)
                x = gauss(rng);
    }
    // Channel pointers at `offset`.
    std::vector<const float*> at(int offset) const
    {
        std::vector<const float*> p;
        for (const auto& channel : data)
            p.push_back(channel.data() + offset);
        return p;
    }
    // Sum of the band-passed products over samples begin..end-1.
    double product(int i, int j, int begin, int end)
    {
        if (filtered.empty())
            for (const auto& channel : data)
                filtered.push_back(bandPassed(channel));
        double sum = 0.0;
        for (int t = begin; t < end; ++t)
            sum += filtered[i][t] * filtered[j][t];
        return sum;
    }
    std::vector<std::vector<float>> data;
    std::vector<std::vector<double>> filtered;
};

// Blocks of 300 against a period of 1000: periods end inside blocks, and every period's
// sums are those of its own samples.
TEST(ModeCovariance, PeriodsMatchDirectSumsAcrossBlockBoundaries)
{
    const int period = 1000, block = 300, blocks = 7;
    Signals s(block * blocks);
    CModeCovariance cov(kRate, period);
    ModeCovarianceFrame frame;
    std::vector<ModeCovarianceFrame> got;
    for (int b = 0; b < blocks; ++b) {
        cov.feedModes(s.at(b * block).data(), kModes, block);
        if (cov.fetch(frame))
            got.push_back(frame);
    }
    ASSERT_EQ(got.size(), 2u); // 2100 samples: two whole periods
    for (size_t p = 0; p < got.size(); ++p) {
        EXPECT_EQ(got[p].frames, period);
        EXPECT_EQ(got[p].sequence, p + 1);
        for (int i = 0; i < kModes; ++i)
            for (int j = i; j < kModes; ++j) {
                const double want = s.product(i, j, int(p) * period, int(p + 1) * period);
                // The filter's output is rounded to single precision before the sum.
                const double scale = std::sqrt(got[p].at(i, i) * got[p].at(j, j));
                ASSERT_NEAR(got[p].at(i, j), want, 1e-5 * scale) << i << "," << j;
            }
    }
}

// A reader that misses periods gets the newest, once; nothing is torn or repeated.
TEST(ModeCovariance, LateReaderGetsNewestPeriodOnce)
{
    Signals s(4096, 7);
    CModeCovariance cov(kRate, 512);
    ModeCovarianceFrame frame;
    EXPECT_FALSE(cov.fetch(frame));
    for (int b = 0; b < 8; ++b)
        cov.feedModes(s.at(b * 512).data(), kModes, 512);
    ASSERT_TRUE(cov.fetch(frame));
    EXPECT_EQ(frame.sequence, 8u);
    EXPECT_NEAR(frame.at(3, 5), s.product(3, 5, 7 * 512, 8 * 512), 1e-5 * frame.at(3, 3));
    EXPECT_FALSE(cov.fetch(frame));

    cov.reset();
    EXPECT_FALSE(cov.fetch(frame));
}

TEST(ModeCovariance, FewerModesSumNothingAndFeedingNeverAllocates)
{
    const Signals s(2048);
    CModeCovariance cov(kRate, 256);
    ModeCovarianceFrame frame;
    cov.feedModes(s.at(0).data(), 9, 512);
    EXPECT_FALSE(cov.fetch(frame));
    const std::vector<const float*> blocks[] = {s.at(0), s.at(512), s.at(1024), s.at(1536)};
    {
        AllocationCounter counter;
        for (const auto& block : blocks)
            cov.feedModes(block.data(), kModes, 512);
        EXPECT_EQ(counter.count(), 0u);
    }
    EXPECT_TRUE(cov.fetch(frame));
}

} // namespace
