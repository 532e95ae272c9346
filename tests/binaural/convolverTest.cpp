// The partitioned convolution against a direct convolution in double precision: exact
// latency, any cut of the stream into blocks, and a filter change that is a cross-fade
// of the two sets' outputs along the banks' curves, with nothing allocated on the way.

#include "binaural/CBinauralConvolver.h"
#include "binaural/CBinauralFilters.h"
#include "core/contract/vkResult.h"
#include "tests/support/AllocationCounter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

namespace {
constexpr double kRate = 48000.0;
constexpr int kInputs = CBinauralConvolver::kInputs;
using Signals = std::vector<std::vector<float>>;

CBinauralFilters randomFilters(int length, unsigned seed)
{
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> u(-0.1f, 0.1f);
    std::vector<float> taps(std::size_t(kInputs) * 2 * length);
    for (float& t : taps)
        t = u(rng);
    return CBinauralFilters(length, kRate, std::move(taps));
}

Signals noise(int channels, int frames, unsigned seed)
{
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> u(-1.0f, 1.0f);
    Signals s(channels, std::vector<float>(frames));
    for (auto& c : s)
        for (float& x : c)
            x = u(rng);
    return s;
}

// Ear `ear` of the direct convolution, delayed by `latency` samples.
std::vector<double> direct(const CBinauralFilters& f, const Signals& in, int ear, int latency)
{
    const int frames = static_cast<int>(in[0].size());
    std::vector<double> out(frames, 0.0);
    for (int t = latency; t < frames; ++t)
        for (int c = 0; c < kInputs; ++c) {
            const float* h = f.filter(c, ear);
            for (int k = 0; k < f.length() && k <= t - latency; ++k)
                out[t] += double(h[k]) * in[c][t - latency - k];
        }
    return out;
}

// Runs `in` through the convolver in blocks of `block` and gives both ears.
Signals run(CBinauralConvolver& conv, const Signals& in, int block)
{
    const int frames = static_cast<int>(in[0].size());
    Signals out(2, std::vector<float>(frames));
    for (int at = 0; at < frames; at += block) {
        const int n = std::min(block, frames - at);
        const float* i[kInputs];
        for (int c = 0; c < kInputs; ++c)
            i[c] = in[c].data() + at;
        float* o[2] = {out[0].data() + at, out[1].data() + at};
        conv.run(i, o, n);
    }
    return out;
}

double maxError(const std::vector<float>& a, const std::vector<double>& b)
{
    double e = 0.0;
    for (std::size_t i = 0; i < a.size(); ++i)
        e = std::max(e, std::abs(a[i] - b[i]));
    return e;
}
} // namespace

TEST(BinauralConvolver, EqualsADirectConvolutionLatePartitionSamplesForAnyBlocks)
{
    const Signals in = noise(kInputs, 2000, 7);
    for (const int length : {1, 127, 300, CBinauralConvolver::kMaxTaps}) {
        const CBinauralFilters f = randomFilters(length, 11 + length);
        for (const int partition : {32, 128}) {
            CBinauralConvolver conv;
            ASSERT_EQ(conv.configure(kRate, partition), 0);
            ASSERT_EQ(conv.load(f), 0);
            conv.settle();
            EXPECT_EQ(conv.latency(), partition);
            const std::vector<double> left = direct(f, in, 0, partition), right = direct(f, in, 1, partition);
            for (const int block : {1, 97, 512}) {
                conv.reset();
                const Signals out = run(conv, in, block);
                EXPECT_LT(maxError(out[0], left), 1e-4) << length << " taps, P " << partition << ", block " << block;
                EXPECT_LT(maxError(out[1], right), 1e-4) << length << " taps, P " << partition << ", block " << block;
            }
        }
    }
}

TEST(BinauralConvolver, RefusesWhatItCannotRunAndKeepsTheSetInForce)
{
    CBinauralConvolver conv;
    EXPECT_EQ(conv.load(randomFilters(8, 1)), vkErrNotConfigured);
    EXPECT_EQ(conv.configure(kRate, 100), CBinauralConvolver::kErrPartition);
    EXPECT_EQ(conv.configure(kRate, 8), CBinauralConvolver::kErrPartition);
    EXPECT_EQ(conv.configure(0.0, 64), vkErrRange);
    ASSERT_EQ(conv.configure(kRate, 64), 0);
    const Signals in = noise(kInputs, 600, 3);
    Signals silent = run(conv, in, 64);
    EXPECT_EQ(maxError(silent[0], std::vector<double>(600, 0.0)), 0.0) << "silence without filters";

    const CBinauralFilters f = randomFilters(200, 5);
    ASSERT_EQ(conv.load(f), 0);
    conv.settle();
    EXPECT_EQ(conv.load(CBinauralFilters()), vkErrRange);
    EXPECT_EQ(conv.load(randomFilters(CBinauralConvolver::kMaxTaps + 1, 2)), CBinauralConvolver::kErrTooLong);
    EXPECT_EQ(conv.load(CBinauralFilters(16, 44100.0, std::vector<float>(16 * 2 * 16, 1.0f))),
              CBinauralConvolver::kErrRate);
    EXPECT_FALSE(conv.hasPendingFilters());
    conv.reset();
    const Signals out = run(conv, in, 64);
    EXPECT_LT(maxError(out[0], direct(f, in, 0, 64)), 1e-4);
}

TEST(BinauralConvolver, ANewSetIsCrossFadedInAtOnceWithoutAllocating)
{
    const int p = 128;
    const CBinauralFilters a = randomFilters(400, 21), b = randomFilters(250, 22);
    CBinauralConvolver conv;
    ASSERT_EQ(conv.configure(kRate, p), 0);
    ASSERT_EQ(conv.load(a), 0);
    conv.settle();
    const int frames = 8192, switchAt = 1024;  // a partition boundary
    const Signals in = noise(kInputs, frames, 9);
    Signals out(2, std::vector<float>(frames));
    for (int at = 0; at < frames; at += p) {
        if (at == switchAt) {
            ASSERT_EQ(conv.load(b), 0);
        }
        const float* i[kInputs];
        for (int c = 0; c < kInputs; ++c)
            i[c] = in[c].data() + at;
        float* o[2] = {out[0].data() + at, out[1].data() + at};
        AllocationCounter counter;
        conv.run(i, o, p);
        EXPECT_EQ(counter.count(), 0u);
    }
    EXPECT_EQ(conv.transition(), vkxShadowFilterBanks::Transition::Steady);
    // The partition that runs the new set first is played from switchAt + p on.
    const int fadeLength = static_cast<int>(kRate) * CBinauralConvolver::kFadeTimeConstantMs * 5 / 1000;
    const double tau = 0.001 * CBinauralConvolver::kFadeTimeConstantMs * kRate;
    for (int ear = 0; ear < 2; ++ear) {
        const std::vector<double> ya = direct(a, in, ear, p), yb = direct(b, in, ear, p);
        double worst = 0.0;
        for (int t = 0; t < frames; ++t) {
            const int i = t - switchAt - p;
            double expected = ya[t];
            if (i >= fadeLength)
                expected = yb[t];
            else if (i >= 0)
                expected = std::exp(-i / tau) * ya[t] + (1.0 - std::exp(-i / tau)) * yb[t];
            worst = std::max(worst, std::abs(out[ear][t] - expected));
        }
        EXPECT_LT(worst, 2e-4) << "ear " << ear;
    }
}
