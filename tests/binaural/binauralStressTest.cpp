// The control/audio hand-over of the binaural decoder under ThreadSanitizer: an audio
// thread runs blocks while the control thread swaps filter sets and a tracker thread
// turns the head as fast as it can. Every block must come out finite, and after the
// threads stop the newest set and orientation are the ones in force.

#include "binaural/CBinauralDecoder.h"
#include "binaural/CBinauralFilters.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <random>
#include <thread>
#include <vector>

namespace {
constexpr float kRate = 48000.0f;
constexpr int kBlock = 256;

CBinauralFilters randomFilters(unsigned seed)
{
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> u(-0.01f, 0.01f);
    std::vector<float> taps(16 * 2 * 400);
    for (float& t : taps)
        t = u(rng);
    return CBinauralFilters(400, kRate, std::move(taps));
}
} // namespace

TEST(BinauralStress, FilterSwapsAndHeadTurnsFromOtherThreadsReachTheAudioThreadIntact)
{
    CBinauralDecoder d;
    ASSERT_EQ(d.setFormat(vkAudioInterface::timeDomain(16, kRate, kBlock), vkAudioInterface::timeDomain(2, kRate, kBlock)),
              0);
    const CBinauralFilters sets[2] = {randomFilters(1), randomFilters(2)};
    ASSERT_EQ(d.setFilters(sets[0]), 0);
    d.start();

    std::atomic<bool> done{false};
    std::atomic<long> blocks{0};
    std::atomic<bool> finite{true};
    std::thread audio([&] {
        std::vector<std::vector<float>> in(16, std::vector<float>(kBlock, 0.1f)), out(2, std::vector<float>(kBlock));
        float* i[16];
        for (int c = 0; c < 16; ++c)
            i[c] = in[c].data();
        float* o[2] = {out[0].data(), out[1].data()};
        while (!done.load(std::memory_order_relaxed)) {
            d.process(i, o, kBlock);
            for (const auto& ear : out)
                for (float v : ear)
                    if (!std::isfinite(v))
                        finite = false;
            blocks.fetch_add(1, std::memory_order_relaxed);
        }
    });
    std::thread tracker([&] {
        for (int k = 0; !done.load(std::memory_order_relaxed); ++k)
            d.setHeadOrientation({float(k % 720) * 0.5f, float(k % 60) - 30.0f, 0.0f});
    });
    for (int swap = 0; swap < 40; ++swap) {
        EXPECT_EQ(d.setFilters(sets[swap % 2]), 0);
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    while (blocks.load() < 200)
        std::this_thread::yield();
    done = true;
    audio.join();
    tracker.join();
    EXPECT_TRUE(finite.load());
    d.setHeadOrientation({12.5f, -3.0f, 7.0f});
    const CHeadOrientation o = d.headOrientation();
    EXPECT_NEAR(o.yaw, 12.5f, 1e-3f);
    EXPECT_NEAR(o.pitch, -3.0f, 1e-3f);
    EXPECT_NEAR(o.roll, 7.0f, 1e-3f);
}
