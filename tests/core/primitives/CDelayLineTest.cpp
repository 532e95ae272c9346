#include "core/primitives/CDelayLine.h"
#include "tests/core/primitives/PrimitivesTestSupport.h"
#include "tests/support/AllocationCounter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

namespace {

TEST(CDelayLine, DelaysInAndOutOfPlace)
{
    CDelayLine line;
    ASSERT_EQ(line.setDelay(3), 0);
    const float in[6] = {1, 2, 3, 4, 5, 6};
    float out[6];
    line.process(in, out, 6);
    EXPECT_EQ(std::vector<float>(out, out + 6), (std::vector<float>{0, 0, 0, 1, 2, 3}));

    ASSERT_EQ(line.setDelay(3), 0); // clears the ring
    float buffer[6] = {1, 2, 3, 4, 5, 6};
    line.process(buffer, buffer, 6);
    EXPECT_EQ(std::vector<float>(buffer, buffer + 6), (std::vector<float>{0, 0, 0, 1, 2, 3}));

    ASSERT_EQ(line.setDelay(0), 0);
    line.process(in, out, 6);
    EXPECT_EQ(std::vector<float>(out, out + 6), std::vector<float>(in, in + 6));
}

// Delays beyond the first capacity grow the buffer; the stream survives any block cuts.
TEST(CDelayLine, LongDelaysAcrossBlocksWithoutAllocatingWhileRunning)
{
    for (int delay : {1, 1023, 1024, 1025, 5000}) {
        CDelayLine line;
        ASSERT_EQ(line.setDelay(delay), 0);
        const std::vector<float> x = vk::test::randomFloats(12000, static_cast<unsigned>(delay));
        std::vector<float> y = x;
        const std::vector<int> cuts = vk::test::randomCuts(12000, 4096, 3);
        AllocationCounter counter;
        int at = 0;
        for (int n : cuts) {
            line.process(y.data() + at, y.data() + at, n);
            at += n;
        }
        EXPECT_EQ(counter.count(), 0u);
        for (int t = 0; t < 12000; ++t)
            ASSERT_EQ(y[t], t < delay ? 0.0f : x[t - delay]) << "delay " << delay << " sample " << t;
    }
}

// Blocks shorter than, equal to and longer than the delay, in place and out of place in
// any mix, give the input shifted by exactly the delay.
TEST(CDelayLine, AnyMixOfBlocksAndPlacementsShiftsTheStream)
{
    constexpr int kTotal = 9000;
    constexpr int kLargest = 512;
    for (int delay : {0, 1, 7, 255, kLargest, 1023, 1800}) {
        CDelayLine line;
        ASSERT_EQ(line.setDelay(delay), 0);
        const std::vector<float> x = vk::test::randomFloats(kTotal, static_cast<unsigned>(delay) + 11u);
        std::vector<float> y(kTotal);
        std::vector<float> in(kLargest);
        std::mt19937 gen(static_cast<unsigned>(delay));
        const std::vector<int> cuts = vk::test::randomCuts(kTotal, kLargest, static_cast<unsigned>(delay) + 5u);
        AllocationCounter counter;
        int at = 0;
        for (int n : cuts) {
            if (gen() % 2 == 0) {
                std::copy_n(x.data() + at, n, y.data() + at);
                line.process(y.data() + at, y.data() + at, n);
            } else {
                std::copy_n(x.data() + at, n, in.data());
                line.process(in.data(), y.data() + at, n);
            }
            at += n;
        }
        EXPECT_EQ(counter.count(), 0u);
        for (int t = 0; t < kTotal; ++t)
            ASSERT_EQ(y[t], t < delay ? 0.0f : x[t - delay]) << "delay " << delay << " sample " << t;
    }
}

// A new delay starts from silence whatever the ring held, also after shrinking.
TEST(CDelayLine, NewDelayStartsSilent)
{
    CDelayLine line;
    ASSERT_EQ(line.setDelay(40), 0);
    const std::vector<float> x = vk::test::randomFloats(100, 1);
    std::vector<float> y(100);
    line.process(x.data(), y.data(), 100);
    ASSERT_EQ(line.setDelay(5), 0);
    line.process(x.data(), y.data(), 3);
    line.process(x.data() + 3, y.data() + 3, 97);
    for (int t = 0; t < 100; ++t)
        ASSERT_EQ(y[t], t < 5 ? 0.0f : x[t - 5]) << "sample " << t;
}

} // namespace
