// The decoder as a processing object: the formats it takes, silence before filters, a
// refused SOFA file that leaves the filters in force, a head tracker at 100 Hz that
// turns the scene without zipper noise, and no allocation on the audio thread while
// another thread turns the head and swaps filter sets.

#include "binaural/CBinauralDecoder.h"
#include "binaural/CBinauralFilters.h"
#include "binaural/CHrirSet.h"
#include "tests/support/AllocationCounter.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <numbers>
#include <random>
#include <thread>
#include <vector>

namespace {
constexpr float kRate = 48000.0f;
constexpr int kBlock = 512;
constexpr int kInputs = CBinauralDecoder::kInputs;

vkAudioInterface format(int channels, int block = kBlock, float rate = kRate)
{
    return vkAudioInterface::timeDomain(channels, rate, block);
}

// A scene of 16 channels and its two ears, processed block by block.
struct EarRun {
    std::vector<std::vector<float>> in, out;
    explicit EarRun(int frames) : in(kInputs, std::vector<float>(frames)), out(2, std::vector<float>(frames)) {}
    int frames() const { return static_cast<int>(in[0].size()); }

    // A plane wave of signal s(t) from a direction.
    template <typename Signal>
    void encode(double azimuth, double elevation, Signal s)
    {
        double y[kInputs];
        realSphericalHarmonics(ambiVectorFromAngles(azimuth, elevation), kAmbiMaxOrder, AmbiNorm::kSn3d, y);
        for (int t = 0; t < frames(); ++t)
            for (int c = 0; c < kInputs; ++c)
                in[c][t] = static_cast<float>(y[c] * s(t));
    }
    // `beforeBlock(at)` runs before each block starting at sample `at`.
    template <typename Hook>
    void process(CBinauralDecoder& d, Hook beforeBlock, int block = kBlock)
    {
        for (int at = 0; at < frames(); at += block) {
            beforeBlock(at);
            float* i[kInputs];
            for (int c = 0; c < kInputs; ++c)
                i[c] = in[c].data() + at;
            float* o[2] = {out[0].data() + at, out[1].data() + at};
            ASSERT_EQ(d.process(i, o, std::min(block, frames() - at)), 0);
        }
    }
    void process(CBinauralDecoder& d)
    {
        process(d, [](int) {});
    }
};

std::vector<float> noise(int frames, unsigned seed)
{
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> u(-0.5f, 0.5f);
    std::vector<float> x(frames);
    for (float& v : x)
        v = u(rng);
    return x;
}

// Largest second difference of an ear from `from` on: a step in a gain shows as a spike.
double roughness(const std::vector<float>& x, int from)
{
    double worst = 0.0;
    for (std::size_t t = from + 1; t + 1 < x.size(); ++t)
        worst = std::max(worst, std::abs(double(x[t + 1]) - 2.0 * x[t] + x[t - 1]));
    return worst;
}

class BinauralDecoder : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        std::string message;
        CHrirSet set;
        ASSERT_EQ(set.load(CHrirSet::kDefaultPath, kRate, message), 0) << message;
        sKemar = CBinauralFilters::designMagLs(set, CBinauralDecoder::kMaxTaps);
    }
    static CBinauralFilters sKemar;
};
CBinauralFilters BinauralDecoder::sKemar;
} // namespace

TEST_F(BinauralDecoder, TakesSixteenChannelsToTwoEarsAndIsSilentWithoutFilters)
{
    CBinauralDecoder d;
    EarRun run(kBlock);
    EXPECT_EQ(d.process(nullptr, nullptr, kBlock), vkErrNotConfigured);
    EXPECT_EQ(d.setFilters(sKemar), vkErrNotConfigured);
    EXPECT_EQ(d.setFormat(format(15), format(2)), CBinauralDecoder::kErrChannels);
    EXPECT_EQ(d.setFormat(format(16), format(1)), CBinauralDecoder::kErrChannels);
    EXPECT_EQ(d.setFormat(format(16), format(2, kBlock, 44100.0f)), CBinauralDecoder::kErrChannels);
    EXPECT_EQ(d.setFormat(format(16), format(2, 256)), CBinauralDecoder::kErrChannels);
    ASSERT_EQ(d.setFormat(format(16), format(2)), 0);
    EXPECT_EQ(d.latency(), CBinauralDecoder::kPartition);

    const std::vector<float> x = noise(kBlock, 1);
    run.encode(0.0, 0.0, [&x](int t) { return x[t]; });
    run.process(d);
    for (const auto& ear : run.out)
        for (float v : ear)
            ASSERT_EQ(v, 0.0f);
    float* i[kInputs];
    float* o[2] = {run.out[0].data(), run.out[1].data()};
    for (int c = 0; c < kInputs; ++c)
        i[c] = run.in[c].data();
    EXPECT_EQ(d.process(i, o, kBlock + 1), vkErrFormat);
    EXPECT_EQ(d.setFilters(CBinauralFilters(64, 44100.0, {})), CBinauralDecoder::kErrFilterRate);
    d.start();
    EXPECT_EQ(d.setFormat(format(16), format(2)), vkErrStarted);
    EXPECT_FALSE(d.hasFilters());
}

TEST_F(BinauralDecoder, ARefusedSofaFileLeavesTheFiltersInForce)
{
    CBinauralDecoder d;
    ASSERT_EQ(d.setFormat(format(16), format(2)), 0);
    std::string message;
    ASSERT_EQ(d.loadHrtf(CHrirSet::kDefaultPath, message), 0) << message;
    d.start();
    const std::vector<float> x = noise(8 * kBlock, 2);
    EarRun before(8 * kBlock), after(8 * kBlock);
    before.encode(60.0, 10.0, [&x](int t) { return x[t]; });
    after.in = before.in;
    before.process(d);

    EXPECT_EQ(d.loadHrtf("/nonexistent/ears.sofa", message), CBinauralDecoder::kErrHrtf);
    EXPECT_NE(message.find("/nonexistent/ears.sofa"), std::string::npos) << message;
    EXPECT_EQ(d.hrtfPath(), CHrirSet::kDefaultPath);
    EXPECT_FALSE(d.hasPendingFilters());
    d.stop();
    d.reset();
    d.start();
    after.process(d);
    EXPECT_EQ(before.out, after.out);
    double energy = 0.0;
    for (float v : after.out[0])
        energy += v * v;
    EXPECT_GT(energy, 1.0);
}

TEST_F(BinauralDecoder, AHeadTrackerAtOneHundredHertzTurnsTheSceneWithoutZipperNoise)
{
    // A 500 Hz tone from ahead; the tracker sends a new yaw every 480 samples, 60 degrees
    // a second, and the blocks of 512 do not line up with it.
    const int frames = 48 * kBlock;
    auto tone = [](int t) { return 0.5 * std::sin(2.0 * std::numbers::pi * 500.0 * t / kRate); };
    auto rough = [&](bool tracking, float yaw) {
        CBinauralDecoder d;
        EXPECT_EQ(d.setFormat(format(16), format(2)), 0);
        EXPECT_EQ(d.setFilters(sKemar), 0);
        d.setHeadOrientation({yaw, 0.0f, 0.0f});
        d.start();
        EarRun run(frames);
        run.encode(0.0, 0.0, tone);
        int sent = 0;
        run.process(d, [&](int at) {
            for (; tracking && sent * 480 <= at; ++sent)
                d.setHeadOrientation({0.6f * sent, 0.0f, 0.0f});
        });
        return std::max(roughness(run.out[0], 4 * kBlock), roughness(run.out[1], 4 * kBlock));
    };
    const double still = std::max(rough(false, 0.0f), rough(false, 30.0f));
    const double turning = rough(true, 0.0f);
    EXPECT_LT(turning, 1.2 * still) << "still " << still << ", turning " << turning;
}

TEST_F(BinauralDecoder, NothingIsAllocatedOnTheAudioThreadWhileTheHeadTurnsAndFiltersSwap)
{
    CBinauralDecoder d;
    ASSERT_EQ(d.setFormat(format(16), format(2)), 0);
    ASSERT_EQ(d.setFilters(sKemar), 0);
    d.start();
    std::vector<float> taps(std::size_t(kInputs) * 2 * 300);
    std::mt19937 rng(4);
    std::uniform_real_distribution<float> u(-0.01f, 0.01f);
    for (float& t : taps)
        t = u(rng);
    const CBinauralFilters other(300, kRate, taps);

    std::atomic<bool> done{false};
    std::atomic<int> swaps{0};
    std::thread control([&] {
        for (int i = 0; !done.load(); ++i) {
            d.setHeadOrientation({float(i % 360), float(i % 40) - 20.0f, float(i % 30)});
            if (i % 8 == 0 && d.setFilters(i % 16 ? other : sKemar) == 0)
                swaps.fetch_add(1);
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    });
    EarRun run(kBlock);
    const std::vector<float> x = noise(kBlock, 5);
    run.encode(45.0, 0.0, [&x](int t) { return x[t]; });
    int fadingBlocks = 0;
    std::size_t allocations = 0;
    // At least 600 blocks and until a dozen sets have been swapped in (bounded, so a
    // control thread that stalls fails the test instead of hanging it).
    for (int block = 0; block < 600 || (swaps.load() < 12 && block < 1000000); ++block) {
        AllocationCounter counter;
        run.process(d);
        allocations += counter.count();
        fadingBlocks += d.transition() != vkxShadowFilterBanks::Transition::Steady;
    }
    done = true;
    control.join();
    EXPECT_EQ(allocations, 0u);
    EXPECT_GE(swaps.load(), 12);
    EXPECT_GT(fadingBlocks, 5);
    for (const auto& ear : run.out)
        for (float v : ear)
            ASSERT_TRUE(std::isfinite(v));
}
