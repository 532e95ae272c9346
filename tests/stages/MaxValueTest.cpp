#include "stages/CMaxValue.h"
#include "tests/support/AllocationCounter.h"

#include <gtest/gtest.h>

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
        stage.readLevels(peaks.data(), envelopes.data(), static_cast<int>(signal.size()));
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
    Meter m(32, 512);
    AllocationCounter counter;
    m.feed(0.3f, 50);
    EXPECT_EQ(counter.count(), 0u);
}
