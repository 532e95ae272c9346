// The triple buffer under ThreadSanitizer: a producer publishing as fast as it can and a
// reader that sleeps between fetches. Every period carries a signature the reader checks,
// so a torn frame fails even where the sanitizer would not see a race.
#include "soundmap/CModeCovariance.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

TEST(ModeCovarianceHandover, FastProducerSlowReader)
{
    constexpr int kModes = 16, kBlock = 64;
    CModeCovariance cov(44100.0, kBlock); // one period per block
    std::atomic<bool> done{false};

    std::thread producer([&] {
        std::vector<float> channels(size_t(kModes) * kBlock);
        std::vector<const float*> modes(kModes);
        for (int k = 0; k < kModes; ++k)
            modes[k] = channels.data() + size_t(k) * kBlock;
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(2);
        // Every channel carries the same noise, so every sum of a period is the same
        // number: a frame mixed from two periods shows unequal entries.
        unsigned seed = 1;
        for (int b = 0; std::chrono::steady_clock::now() < end; ++b) {
            for (int t = 0; t < kBlock; ++t) {
                seed = seed * 1664525u + 1013904223u;
                channels[t] = float(int(seed >> 9) - (1 << 22)) / float(1 << 22);
            }
            for (int k = 1; k < kModes; ++k)
                std::copy_n(channels.begin(), kBlock, channels.begin() + k * kBlock);
            cov.feedModes(modes.data(), kModes, kBlock);
        }
        done.store(true);
    });

    ModeCovarianceFrame frame;
    std::uint64_t last = 0;
    int fetched = 0;
    while (!done.load()) {
        if (cov.fetch(frame)) {
            ASSERT_GT(frame.sequence, last);
            last = frame.sequence;
            ASSERT_EQ(frame.frames, kBlock);
            for (int i = 0; i < kModes; ++i)
                for (int j = i; j < kModes; ++j)
                    ASSERT_EQ(frame.at(i, j), frame.at(0, 0));
            ++fetched;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    producer.join();
    EXPECT_GT(fetched, 10);
    EXPECT_GT(last, std::uint64_t(fetched)); // the reader really was the slow one
}
