#include "stages/CFilterStageBq.h"
#include "stages/vkHighpassSets.h"
#include "StageSignals.h"
#include "tests/support/AllocationCounter.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

using namespace stagetest;

namespace {
constexpr double kRate = 44100.0;

// A double-precision biquad cascade with its own history, as an independent reference.
class ReferenceCascade {
public:
    explicit ReferenceCascade(const double* taps) { setTaps(taps); }
    void setTaps(const double* taps) { std::copy_n(taps, vkHighpassTaps, mTaps); }
    double step(double x)
    {
        for (int s = 0; s < vkHighpassSections; ++s) {
            const double* t = mTaps + 6 * s;
            const double y = t[0] * x + mZ[2 * s];
            mZ[2 * s] = t[1] * x - t[4] * y + mZ[2 * s + 1];
            mZ[2 * s + 1] = t[2] * x - t[5] * y;
            x = y;
        }
        return x;
    }

private:
    double mTaps[vkHighpassTaps];
    double mZ[2 * vkHighpassSections] = {};
};

// The stage as the graph sets it up: three sections per channel, set 0.
struct Stage {
    explicit Stage(int channels, int block = 512, double rate = kRate)
    {
        const vkAudioInterface f = vkAudioInterface::timeDomain(channels, static_cast<float>(rate), block);
        EXPECT_EQ(stage.setFormat(f, f), vkOk);
        std::vector<int> sections(channels, vkHighpassSections);
        EXPECT_EQ(stage.setSections(sections.data(), channels), 0);
        select(0);
    }
    // The set as the graph designs it, at the stage's rate.
    void select(int set)
    {
        const vkHighpassTapArray taps = vkHighpassSet(set, stage.inFormat().sampleRate());
        for (int ch = 0; ch < stage.inFormat().channels(); ++ch)
            EXPECT_EQ(stage.setTaps(ch, taps.data()), vkOk);
    }
    // Runs one mono signal through channel 0 in blocks of `block`.
    std::vector<float> run(const std::vector<float>& x, int block = 512)
    {
        std::vector<float> y(x.size());
        for (std::size_t at = 0; at < x.size(); at += block) {
            float* in = const_cast<float*>(x.data()) + at;
            float* out = y.data() + at;
            stage.process(&in, &out, static_cast<int>(std::min<std::size_t>(block, x.size() - at)));
        }
        return y;
    }
    CFilterStageBq stage;
};
} // namespace

TEST(FilterStageBq, PassThroughSetGivesTheInputSampleForSample)
{
    Stage s(1);
    const std::vector<float> x = sine(997.0, kRate, 2048);
    EXPECT_EQ(s.run(x, 300), x);
}

// Amplitudes measured on the running filter after its transient, over one second (whole
// periods of every frequency): half a second settles the slowest pole (at 80 Hz and
// 96 kHz it decays by about 0.0014 a sample) far below the tolerance.
TEST(FilterStageBq, EverySetIsThreeDecibelsDownAtItsCornerAndUnityAt1kHzAtEveryRate)
{
    for (const double rate : {44100.0, 48000.0, 96000.0}) {
        for (int set = 1; set < vkHighpassSetCount; ++set) {
            const double corner = vkHighpassCorners[set];
            for (auto [frequency, expectDb, toleranceDb] : {std::tuple{corner, -3.0103, 0.005}, {1000.0, 0.0, 1e-4}}) {
                Stage s(1, 512, rate);
                s.select(set);
                const int settle = static_cast<int>(rate / 2), span = static_cast<int>(rate);
                const std::vector<float> y = s.run(sine(frequency, rate, settle + span), 512);
                const double db = toDb(amplitudeAt(y, frequency, rate, settle, settle + span) / 0.5);
                EXPECT_NEAR(db, expectDb, toleranceDb) << "set " << set << " at " << rate << " Hz, " << frequency << " Hz";
            }
        }
    }
}

TEST(FilterStageBq, SetChangeWhileRunningKeepsTheHistory)
{
    // Switch from set 1 to set 3 at a block boundary; a reference that keeps its state
    // across the switch must match sample for sample (no reset, no ramp).
    const int block = 256, switchAt = 10 * block, length = 20 * block;
    const std::vector<float> x = sine(150.0, kRate, length, 0.8);
    Stage s(1);
    s.select(1);
    std::vector<float> y(length);
    for (int at = 0; at < length; at += block) {
        if (at == switchAt)
            s.select(3);
        float* in = const_cast<float*>(x.data()) + at;
        float* out = y.data() + at;
        ASSERT_EQ(s.stage.process(&in, &out, block), vkOk);
    }
    ReferenceCascade reference(vkHighpassSet(1, kRate).data());
    double worst = 0.0;
    for (int i = 0; i < length; ++i) {
        if (i == switchAt)
            reference.setTaps(vkHighpassSet(3, kRate).data());
        worst = std::max(worst, std::abs(reference.step(x[i]) - y[i]));
    }
    EXPECT_LT(worst, 1e-6);
}

TEST(FilterStageBq, ChannelsWithoutSectionsCopyAndBadSetUpIsRefused)
{
    const vkAudioInterface f = vkAudioInterface::timeDomain(2, 44100.0f, 64);
    CFilterStageBq stage;
    ASSERT_EQ(stage.setFormat(f, f), vkOk);
    EXPECT_EQ(stage.setTaps(0, vkHighpassSet(1, kRate).data()), vkErrNotConfigured);
    EXPECT_EQ(stage.setTaps(2, vkHighpassSet(1, kRate).data()), vkErrRange);

    const int wrongCount[3] = {3, 3, 3};
    EXPECT_EQ(stage.setSections(wrongCount, 3), vkErrRange);
    EXPECT_EQ(stage.sections(0), 0);

    const int sections[2] = {3, 0};
    EXPECT_LT(stage.setSections(sections, 2), 0); // the last channel was refused
    EXPECT_EQ(stage.sections(0), 3);
    EXPECT_EQ(stage.setTaps(0, vkHighpassSet(3, kRate).data()), vkOk);
    EXPECT_EQ(stage.setTaps(1, vkHighpassSet(3, kRate).data()), vkErrNotConfigured);

    const std::vector<float> x = sine(50.0, kRate, 64);
    std::vector<float> y0(64), y1(64);
    float* in[2] = {const_cast<float*>(x.data()), const_cast<float*>(x.data())};
    float* out[2] = {y0.data(), y1.data()};
    EXPECT_EQ(stage.process(in, out, 64), vkOk);
    EXPECT_EQ(y1, x);
    EXPECT_NE(y0, x);

    EXPECT_EQ(stage.start(), vkOk);
    EXPECT_EQ(stage.setSections(sections, 2), vkErrStarted);
    EXPECT_EQ(stage.setFormat(f, f), vkErrStarted);
    EXPECT_EQ(stage.setTaps(0, vkHighpassSet(1, kRate).data()), vkOk); // allowed while running
    stage.stop();

    const vkAudioInterface other = vkAudioInterface::timeDomain(2, 48000.0f, 64);
    EXPECT_EQ(stage.setFormat(f, other), vkErrFormat);
    EXPECT_EQ(stage.setFormat(f, vkAudioInterface::timeDomain(3, 44100.0f, 64)), vkErrFormat);
}

TEST(FilterStageBq, StopClearsTheHistory)
{
    Stage s(1);
    s.select(2);
    const std::vector<float> x = sine(200.0, kRate, 512);
    const std::vector<float> first = s.run(x);
    s.run(x);
    s.stage.start();
    s.stage.stop();
    EXPECT_EQ(s.run(x), first);
}

TEST(FilterStageBq, ProcessNeitherAllocatesNorTearsCoefficientsWhileTheyChange)
{
    // The control thread flips between sets 1 and 3 as fast as it can while the audio
    // thread filters an impulse from silence each block. Every block must equal the
    // impulse response of one whole set; a torn tap array would match neither.
    const int block = 64;
    std::vector<float> responses[2];
    for (int k = 0; k < 2; ++k) {
        Stage reference(1, block);
        reference.select(k == 0 ? 1 : 3);
        std::vector<float> impulse(block, 0.0f);
        impulse[0] = 1.0f;
        responses[k] = reference.run(impulse, block);
    }
    Stage s(1, block);
    s.select(1);
    std::atomic<bool> done{false};
    std::thread control([&] {
        for (int i = 0; !done.load(); ++i)
            s.stage.setTaps(0, vkHighpassSet(i % 2 ? 3 : 1, kRate).data());
    });
    std::vector<float> impulse(block, 0.0f), y(block);
    impulse[0] = 1.0f;
    float* in = impulse.data();
    float* out = y.data();
    int torn = 0;
    AllocationCounter counter;
    for (int b = 0; b < 20000; ++b) {
        s.stage.reset();
        s.stage.process(&in, &out, block);
        if (y != responses[0] && y != responses[1])
            ++torn;
    }
    EXPECT_EQ(counter.count(), 0u);
    done = true;
    control.join();
    EXPECT_EQ(torn, 0);
}
