#include "core/primitives/CDelayLine.h"
#include "tests/core/primitives/PrimitivesTestSupport.h"
#include "tests/support/AllocationCounter.h"

#include <gtest/gtest.h>

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

} // namespace
