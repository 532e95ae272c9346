// One thread keeps loading filters and steering while another runs process, as the
// control and audio threads do. Built with ThreadSanitizer, so that any access to a
// bank that the hand-over does not order is reported; the output must stay finite and
// inside the bound that the inputs and taps allow.

#include "beamformer/CMbf.h"
#include "beamformer/vkxShadowFilter.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <random>
#include <thread>
#include <vector>

namespace {
constexpr int kBlock = 128;
constexpr int kDelay = 30;
constexpr int kTaps = 2 * kDelay + 1;
constexpr int kSets = 6;
constexpr auto kDuration = std::chrono::milliseconds(1500);

vkAudioInterface format(int channels)
{
    return vkAudioInterface::timeDomain(channels, 44100.0f, kBlock);
}

// Filter rows of random lengths whose absolute taps sum to at most `sum`.
std::vector<std::vector<float>> randomRows(int count, float sum, unsigned seed)
{
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> u(-1.0f, 1.0f);
    std::uniform_int_distribution<int> length(0, kTaps);
    std::vector<std::vector<float>> rows(count);
    for (auto& row : rows) {
        row.resize(length(rng));
        float total = 0.0f;
        for (float& t : row)
            total += std::abs(t = u(rng));
        for (float& t : row)
            t *= sum / (total + 1.0f);
    }
    return rows;
}

// Runs `audio` in a loop on a thread of its own while `control` runs on this one.
template <typename Audio, typename Control>
void race(Audio audio, Control control)
{
    std::atomic<bool> done{false};
    std::thread audioThread([&] {
        while (!done.load(std::memory_order_relaxed))
            audio();
    });
    const auto end = std::chrono::steady_clock::now() + kDuration;
    while (std::chrono::steady_clock::now() < end)
        control();
    done.store(true);
    audioThread.join();
}
} // namespace

TEST(MbfStress, LoadsAndSteeringWhileProcessing)
{
    CMbf mbf;
    ASSERT_EQ(mbf.setFormat(format(16), format(1)), 0);
    ASSERT_EQ(mbf.setFilterDelay(kDelay), 0);
    // Each order row sums to at most 1/4 in absolute value and each steering gain is at
    // most 2 in size, so 16 modes of at most 1 give at most 8.
    const auto rows = randomRows(kSets * 4, 0.25f, 1);
    constexpr float kBound = 8.0f;

    std::vector<std::vector<float>> modes(16, std::vector<float>(kBlock));
    std::mt19937 signal(2);
    std::uniform_real_distribution<float> u(-1.0f, 1.0f);
    for (auto& channel : modes)
        for (float& x : channel)
            x = u(signal);
    std::vector<float*> in;
    for (auto& channel : modes)
        in.push_back(channel.data());
    std::vector<float> out(kBlock);
    float* o = out.data();
    long blocks = 0;
    bool sane = true;

    std::mt19937 rng(3);
    int loads = 0;
    race(
        [&] {
            sane = sane && mbf.process(in.data(), &o, kBlock) == 0;
            for (const float y : out)
                sane = sane && std::isfinite(y) && std::abs(y) <= kBound;
            for (int s = 0; s < kBlock; ++s)
                sane = sane && mbf.thetaTrack()[s] >= 0 && mbf.thetaTrack()[s] <= 180 && mbf.phiTrack()[s] >= 0
                       && mbf.phiTrack()[s] < 360;
            ++blocks;
        },
        [&] {
            const int set = static_cast<int>(rng() % kSets);
            int lengths[4];
            const float* taps[4];
            for (int n = 0; n < 4; ++n) {
                lengths[n] = static_cast<int>(rows[set * 4 + n].size());
                taps[n] = rows[set * 4 + n].data();
            }
            EXPECT_EQ(mbf.setOrderFilters(lengths, taps), 0);
            mbf.setTheta(static_cast<float>(rng() % 181));
            mbf.setPhi(static_cast<float>(rng() % 360));
            ++loads;
            std::this_thread::sleep_for(std::chrono::microseconds(rng() % 200));
        });
    EXPECT_TRUE(sane);
    EXPECT_GT(blocks, 100);
    EXPECT_GT(loads, 100);
}

TEST(ShadowStress, LoadsWhileProcessing)
{
    vkxShadowFilter filter;
    ASSERT_EQ(filter.setFormat(format(1), format(1)), 0);
    ASSERT_EQ(filter.setFilterDelay(kDelay), 0);
    const auto rows = randomRows(kSets, 1.0f, 4);
    std::vector<float> x(kBlock), y(kBlock);
    std::mt19937 signal(5);
    std::uniform_real_distribution<float> u(-1.0f, 1.0f);
    for (float& v : x)
        v = u(signal);
    float* in = x.data();
    float* out = y.data();
    ASSERT_EQ(filter.setFilter(static_cast<int>(rows[0].size()), rows[0].data()), 0);
    long blocks = 0;
    bool sane = true;
    std::mt19937 rng(6);
    race(
        [&] {
            sane = sane && filter.process(&in, &out, kBlock) == 0;
            for (const float v : y)
                sane = sane && std::isfinite(v) && std::abs(v) <= 1.0f;
            ++blocks;
        },
        [&] {
            const auto& row = rows[rng() % kSets];
            EXPECT_EQ(filter.setFilter(static_cast<int>(row.size()), row.data()), 0);
            std::this_thread::sleep_for(std::chrono::microseconds(rng() % 200));
        });
    EXPECT_TRUE(sane);
    EXPECT_GT(blocks, 100);
}
