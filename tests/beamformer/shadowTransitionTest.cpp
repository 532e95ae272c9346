// Filter changes while audio runs, for both objects that share the transition logic:
// the shadow filter (one filter) and the modal beamformer (a set of four). Each filter
// here is a pure gain g: 2D + 1 taps with g at the centre, so every bank's output is
// g times the input delayed by D, and the heard output follows a model written from the
// fade's definition: old gain until the new filter's length has run, then
// old * exp(-i / tau) + new * (1 - exp(-i / tau)) for 250 ms, then the new gain.

#include "beamformer/CMbf.h"
#include "beamformer/vkxShadowFilter.h"
#include "tests/support/AllocationCounter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <vector>

namespace {
constexpr int kDelay = 20;
constexpr int kTaps = 2 * kDelay + 1;
constexpr float kRate = 44100.0f;
constexpr int kFade = 11025;  // 250 ms at 44.1 kHz
constexpr int kMaxBlock = 512;
using Transition = vkxShadowFilterBanks::Transition;

double fadeOut(int i)
{
    return std::exp(-i / (0.05 * kRate));
}

vkAudioInterface format(int channels)
{
    return vkAudioInterface::timeDomain(channels, kRate, kMaxBlock);
}

// One object under test, seen as a single-channel filter with a gain.
class Subject {
public:
    virtual ~Subject() = default;
    virtual int load(float gain) = 0;
    virtual int process(float* signal, float* out, int frames) = 0;
    virtual vkAudioClass& object() = 0;
    virtual Transition transition() const = 0;
    virtual bool pending() const = 0;

protected:
    // The taps of a pure gain, in storage made once, so that a load allocates nothing.
    const float* centreTap(float gain)
    {
        mTaps[kDelay] = gain;
        return mTaps.data();
    }
    std::vector<float> mTaps = std::vector<float>(kTaps, 0.0f);
};

class ShadowSubject : public Subject {
public:
    ShadowSubject()
    {
        EXPECT_EQ(mFilter.setFormat(format(1), format(1)), 0);
        EXPECT_EQ(mFilter.setFilterDelay(kDelay + 0.5f), 0);
    }
    int load(float gain) override { return mFilter.setFilter(kTaps, centreTap(gain)); }
    int process(float* signal, float* out, int frames) override { return mFilter.process(&signal, &out, frames); }
    vkAudioClass& object() override { return mFilter; }
    Transition transition() const override { return mFilter.transition(); }
    bool pending() const override { return mFilter.hasPendingFilter(); }

private:
    vkxShadowFilter mFilter;
};

// The signal enters as mode 0, whose steering gain is 1 in every direction.
class MbfSubject : public Subject {
public:
    MbfSubject()
    {
        EXPECT_EQ(mMbf.setFormat(format(16), format(1)), 0);
        EXPECT_EQ(mMbf.setFilterDelay(kDelay), 0);
        for (float*& channel : mIn)
            channel = mZeros.data();
    }
    int load(float gain) override
    {
        // Orders 1 to 3 are all-zero rows of full length: they count for the warm-up
        // but add nothing.
        const int lengths[4] = {kTaps, kTaps, kTaps, kTaps};
        const float* rows[4] = {centreTap(gain), mZeroTaps.data(), mZeroTaps.data(), mZeroTaps.data()};
        return mMbf.setOrderFilters(lengths, rows);
    }
    int process(float* signal, float* out, int frames) override
    {
        mIn[0] = signal;
        return mMbf.process(mIn, &out, frames);
    }
    vkAudioClass& object() override { return mMbf; }
    Transition transition() const override { return mMbf.transition(); }
    bool pending() const override { return mMbf.hasPendingSet(); }

private:
    CMbf mMbf;
    std::vector<float> mZeros = std::vector<float>(kMaxBlock, 0.0f);
    std::vector<float> mZeroTaps = std::vector<float>(kTaps, 0.0f);
    float* mIn[16] = {};
};

// Runs a subject on a constant input of 1 in blocks, sample by sample recording the
// output and the transition state after each block.
struct Driver {
    Driver(Subject& subject, int block)
        : subject(subject)
        , block(block)
        , ones(kMaxBlock, 1.0f)
        , out(kMaxBlock)
    {
    }
    void run(int samples)
    {
        while (samples > 0) {
            const int n = std::min(block, samples);
            ASSERT_EQ(subject.process(ones.data(), out.data(), n), 0);
            output.insert(output.end(), out.begin(), out.begin() + n);
            samples -= n;
        }
    }
    // Runs whole blocks until at least `t` samples are done; gives the samples done.
    int runTo(int t)
    {
        while (static_cast<int>(output.size()) < t)
            run(block);
        return static_cast<int>(output.size());
    }
    Subject& subject;
    int block;
    std::vector<float> ones;
    std::vector<float> out;
    std::vector<float> output;
};

// The heard gain of a change from `from` to `to` whose new filter started at `start`.
struct Change {
    int start;
    double from;
    double to;
    bool covers(int t) const { return t >= start; }
    double gain(int t) const
    {
        const int i = t - start - kTaps;
        if (i < 0)
            return from;
        if (i < kFade)
            return from * fadeOut(i) + to * (1.0 - fadeOut(i));
        return to;
    }
};

void expectChanges(const std::vector<float>& output, double first, const std::vector<Change>& changes, int block)
{
    for (int t = kDelay; t < static_cast<int>(output.size()); ++t) {
        double expected = first;
        for (const Change& c : changes)
            if (c.covers(t))
                expected = c.gain(t);
        ASSERT_NEAR(output[t], expected, 2e-6) << "sample " << t << ", block " << block;
    }
}

std::unique_ptr<Subject> make(bool mbf)
{
    if (mbf)
        return std::make_unique<MbfSubject>();
    return std::make_unique<ShadowSubject>();
}

class Transitions : public ::testing::TestWithParam<std::tuple<bool, int>> {
protected:
    bool isMbf() const { return std::get<0>(GetParam()); }
    int block() const { return std::get<1>(GetParam()); }
};
} // namespace

TEST_P(Transitions, WarmUpLastsTheNewFilterLengthThenTheFadeRuns)
{
    auto subject = make(isMbf());
    Driver d(*subject, block());
    ASSERT_EQ(subject->load(0.5f), 0);
    const int load = d.runTo(64);
    ASSERT_EQ(subject->load(2.0f), 0);
    EXPECT_TRUE(subject->pending());
    d.run(1);
    EXPECT_FALSE(subject->pending());
    EXPECT_EQ(subject->transition(), Transition::WarmUp);
    d.run(kTaps - 1);
    EXPECT_EQ(subject->transition(), Transition::WarmUp);  // exactly the filter length
    d.run(1);
    EXPECT_EQ(subject->transition(), Transition::Fading);
    d.run(kFade + 300);
    EXPECT_EQ(subject->transition(), Transition::Steady);
    expectChanges(d.output, 0.5, {{load, 0.5, 2.0}}, block());
}

TEST_P(Transitions, ThreeLoadsDuringOneFadeLeaveTheFirstAndTheLast)
{
    auto subject = make(isMbf());
    Driver d(*subject, block());
    ASSERT_EQ(subject->load(1.0f), 0);
    const int first = d.runTo(64);
    ASSERT_EQ(subject->load(3.0f), 0);
    d.runTo(first + kTaps + 1000);
    ASSERT_EQ(subject->transition(), Transition::Fading);
    ASSERT_EQ(subject->load(-7.0f), 0);  // waits as pending ...
    ASSERT_EQ(subject->load(-2.0f), 0);  // ... and is replaced by this one
    EXPECT_TRUE(subject->pending());
    // The replacement starts at the first block boundary after the first fade's end.
    const int end = first + kTaps + kFade;
    const int third = (end + block() - 1) / block() * block();
    d.runTo(third + kTaps + kFade + 200);
    EXPECT_FALSE(subject->pending());
    EXPECT_EQ(subject->transition(), Transition::Steady);
    expectChanges(d.output, 1.0, {{first, 1.0, 3.0}, {third, 3.0, -2.0}}, block());
}

TEST_P(Transitions, TheSameFiltersStillFadeAndTheCurvesSumToOne)
{
    auto subject = make(isMbf());
    Driver d(*subject, block());
    ASSERT_EQ(subject->load(0.8f), 0);
    d.runTo(64);
    ASSERT_EQ(subject->load(0.8f), 0);
    d.run(kTaps + 1);
    EXPECT_EQ(subject->transition(), Transition::Fading);
    d.run(kFade);
    EXPECT_EQ(subject->transition(), Transition::Steady);
    for (int t = kDelay; t < static_cast<int>(d.output.size()); ++t)
        ASSERT_NEAR(d.output[t], 0.8f, 2e-7f) << t;
}

TEST_P(Transitions, StartPutsTheNewestFilterInForceAtOnce)
{
    auto subject = make(isMbf());
    Driver d(*subject, block());
    ASSERT_EQ(subject->load(1.0f), 0);
    d.runTo(64);
    ASSERT_EQ(subject->load(4.0f), 0);
    d.run(1);  // next, warming up
    ASSERT_EQ(subject->load(9.0f), 0);  // pending
    ASSERT_EQ(subject->object().stop(), 0);
    ASSERT_EQ(subject->object().start(), 0);
    EXPECT_FALSE(subject->pending());
    EXPECT_EQ(subject->transition(), Transition::Steady);
    d.output.clear();
    d.run(kDelay + 100);
    // From silence, no fade: the delay line fills, then the newest gain alone.
    for (int t = 0; t < kDelay; ++t)
        ASSERT_EQ(d.output[t], 0.0f) << t;
    for (int t = kDelay; t < kDelay + 100; ++t)
        ASSERT_FLOAT_EQ(d.output[t], 9.0f) << t;
}

TEST_P(Transitions, NeitherLoadingNorProcessingAllocates)
{
    auto subject = make(isMbf());
    Driver d(*subject, block());
    ASSERT_EQ(subject->load(1.0f), 0);
    d.runTo(64);
    std::vector<float> ones(kMaxBlock, 1.0f), out(kMaxBlock);
    AllocationCounter counter;
    for (int b = 0; b < 400; ++b) {
        if (b % 7 == 0) {
            ASSERT_EQ(subject->load(1.0f + b), 0);
        }
        ASSERT_EQ(subject->process(ones.data(), out.data(), block()), 0);
    }
    EXPECT_EQ(counter.count(), 0u);
}

INSTANTIATE_TEST_SUITE_P(BothObjects, Transitions,
                         ::testing::Combine(::testing::Bool(), ::testing::Values(1, 41, 97, 512)),
                         [](const auto& info) {
                             return std::string(std::get<0>(info.param) ? "Mbf" : "Shadow") + "Block"
                                    + std::to_string(std::get<1>(info.param));
                         });
