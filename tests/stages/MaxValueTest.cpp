#include "stages/CMaxValue.h"
#include "tests/support/AllocationCounter.h"

#include <gtest/gtest.h>
#include <hwy/targets.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

namespace {
struct Meter {
    explicit Meter(int channels, int block = 441, float rate = 44100.0f) : block(block)
    {
        const vkAudioInterface in = vkAudioInterface::timeDomain(channels, rate, block);
        EXPECT_EQ(stage.setFormat(in, vkAudioInterface::timeDomain(0, rate, block)), vkOk);
        signal.assign(channels, std::vector<float>(block, 0.0f));
        for (auto& ch : signal)
            pointers.push_back(ch.data());
    }
    // Feeds `blocks` blocks of a constant on every channel.
    void feed(float value, int blocks)
    {
        for (auto& ch : signal)
            std::fill(ch.begin(), ch.end(), value);
        for (int b = 0; b < blocks; ++b)
            stage.process(pointers.data(), nullptr, block);
    }
    std::pair<float, float> read(int channel = 0)
    {
        std::vector<float> peaks(signal.size()), envelopes(signal.size());
        stage.takeLevels(peaks.data(), envelopes.data(), static_cast<int>(signal.size()));
        return {peaks[channel], envelopes[channel]};
    }
    int block;
    std::vector<std::vector<float>> signal;
    std::vector<float*> pointers;
    CMaxValue stage;
};
} // namespace

// The discrete one-pole with coefficient T / (time + T) lags the continuous one by about
// half a sample: a step reaches 0.96 after 442.4 samples (10.03 ms) instead of 441, so
// 10 ms gives 0.9595. The tolerance of 0.001 covers that and nothing more.
TEST(MaxValue, EnvelopeRisesToNinetySixPercentIn10msAndFallsToATenthIn1point7s)
{
    Meter m(1);
    m.feed(1.0f, 1); // 441 samples = 10 ms at 44.1 kHz
    EXPECT_NEAR(m.read().second, 0.96f, 0.001f);
    m.feed(1.0f, 200);
    const float settled = m.read().second;
    EXPECT_NEAR(settled, 1.0f, 1e-5f);
    m.feed(0.0f, 170); // 1.7 s
    EXPECT_NEAR(m.read().second / settled, 0.1f, 0.001f);
}

TEST(MaxValue, ReadingResetsThePeakButNotTheEnvelope)
{
    Meter m(2, 64);
    m.signal[1][10] = -0.75f; // negative samples count by magnitude
    m.signal[0][3] = 0.25f;
    float* in[2] = {m.signal[0].data(), m.signal[1].data()};
    m.stage.process(in, nullptr, 64);
    m.signal[1][10] = 0.5f; // a lower block after it does not lower the peak
    m.stage.process(in, nullptr, 64);
    const auto [peak1, envelope1] = m.read(1);
    EXPECT_FLOAT_EQ(peak1, 0.75f);
    EXPECT_GT(envelope1, 0.0f);
    const auto [peakAgain, envelopeAgain] = m.read(1);
    EXPECT_EQ(peakAgain, 0.0f);
    EXPECT_EQ(envelopeAgain, envelope1);
}

TEST(MaxValue, StopAndNewFormatEmptyTheMeter)
{
    Meter m(1, 32);
    m.feed(0.5f, 4);
    m.stage.start();
    EXPECT_EQ(m.stage.setFormat(m.stage.inFormat(), m.stage.outFormat()), vkErrStarted);
    m.stage.stop();
    EXPECT_EQ(m.read(), std::make_pair(0.0f, 0.0f));
    // The envelope starts again from 0, as on a meter that has never run.
    Meter fresh(1, 32);
    m.feed(0.25f, 1);
    fresh.feed(0.25f, 1);
    EXPECT_EQ(m.read(), fresh.read());

    vkAudioInterface doubles = m.stage.inFormat();
    doubles.setSinglePrecision(false);
    EXPECT_EQ(m.stage.setFormat(doubles, m.stage.outFormat()), vkErrFormat);
}

TEST(MaxValue, NonFiniteInputDoesNotStickInTheEnvelope)
{
    Meter m(1, 32);
    m.feed(std::numeric_limits<float>::infinity(), 1);
    m.read();
    m.feed(0.5f, 50);
    EXPECT_NEAR(m.read().second, 0.5f, 0.01f);
}

TEST(MaxValue, ProcessDoesNotAllocate)
{
    Meter m(CMaxValue::laneCount + 18, 512);
    AllocationCounter counter;
    m.feed(0.3f, 50);
    EXPECT_EQ(counter.count(), 0u);
}

namespace {
// The one-channel definition, sample after sample, with the guard once a block.
struct ReferenceMeter {
    ReferenceMeter(int channels, float rate) : peak(channels, 0.0f), envelope(channels, 0.0f)
    {
        if (rate > 0.0f) {
            const float t = 1.0f / rate;
            attack = t / (0.0031066746f + t);
            release = t / (0.7383f + t);
        }
    }
    void process(const std::vector<std::vector<float>>& in, int frames)
    {
        for (std::size_t ch = 0; ch < peak.size(); ++ch) {
            float p = peak[ch];
            float e = envelope[ch];
            for (int i = 0; i < frames; ++i) {
                const float x = std::fabs(in[ch][i]);
                p = x > p ? x : p; // a NaN sample leaves the peak alone
                const float d = x - e;
                e += d * (d > 0.0f ? attack : release);
            }
            peak[ch] = p;
            envelope[ch] = e >= 1e-20f && e <= 1e20f ? e : 0.0f;
        }
    }
    float attack = 1.0f;
    float release = 1.0f;
    std::vector<float> peak, envelope;
};

// Mostly programme-like samples, with stretches near and below the guard's threshold,
// denormals, silence, full-scale steps and the odd non-finite value.
float randomSample(std::mt19937& random, int regime)
{
    std::normal_distribution<float> normal(0.0f, 0.3f);
    std::uniform_int_distribution<int> pick(0, 999);
    const float x = normal(random);
    const int rare = pick(random);
    if (rare == 0)
        return std::numeric_limits<float>::infinity();
    if (rare == 1)
        return std::numeric_limits<float>::quiet_NaN();
    switch (regime) {
    case 0: return x;
    case 1: return x * 1e-19f;
    case 2: return x * 1e-39f;
    case 3: return 0.0f;
    default: return x > 0.0f ? 1.0f : -1.0f;
    }
}

bool sameBits(const std::vector<float>& a, const std::vector<float>& b)
{
    return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(float)) == 0;
}

// Random blocks of random lengths through the stage and the definition side by side.
void compareWithDefinition()
{
    std::mt19937 random(20261123);
    const int block = 200;
    for (const float rate : {44100.0f, 0.0f}) {
        for (const int channels : {1, 7, 18, CMaxValue::laneCount, CMaxValue::laneCount + 1, 70}) {
            SCOPED_TRACE(testing::Message() << channels << " channels at " << rate << " Hz");
            Meter m(channels, block, rate);
            ReferenceMeter reference(channels, rate);
            std::uniform_int_distribution<int> cut(1, block + 8), regime(0, 4);
            for (int b = 0; b < 120; ++b) {
                const int frames = cut(random);
                for (auto& ch : m.signal) {
                    const int r = regime(random);
                    for (float& x : ch)
                        x = randomSample(random, r);
                }
                m.stage.process(m.pointers.data(), nullptr, frames);
                reference.process(m.signal, std::min(frames, block));
                if (b % 3 != 0)
                    continue;
                std::vector<float> peaks(channels), envelopes(channels);
                m.stage.takeLevels(peaks.data(), envelopes.data(), channels);
                EXPECT_TRUE(sameBits(envelopes, reference.envelope)) << "block " << b;
                EXPECT_TRUE(sameBits(peaks, reference.peak)) << "block " << b;
                std::fill(reference.peak.begin(), reference.peak.end(), 0.0f);
            }
        }
    }
}
} // namespace

// Channels side by side in vector lanes must give exactly the one-channel recursion, on
// every instruction set the processor offers: odd counts, partial groups and tiles,
// blocks shorter and longer than the gathering chunk, the guard against tiny and
// non-finite envelopes, and a sample rate of 0.
TEST(MaxValue, LevelsEqualTheOneChannelDefinitionBitForBit)
{
    for (const std::int64_t target : hwy::SupportedAndGeneratedTargets()) {
        SCOPED_TRACE(hwy::TargetName(target));
        hwy::SetSupportedTargetsForTest(target);
        compareWithDefinition();
    }
    hwy::SetSupportedTargetsForTest(0);
}
