// The graph's block allocates nothing, also while beams steer and change pattern, gains
// move, the monitor is rerouted and the high-pass changes between blocks.

#include "tests/graph/GraphRig.h"

#include "stages/CVolumeControl.h"
#include "tests/support/AllocationCounter.h"

using namespace graphtest;

namespace {

TEST(GraphAllocation, ProcessAllocatesNothingAcrossLiveChanges)
{
    Rig rig(8);
    CAudioGraph& g = rig.graph;
    ASSERT_EQ(g.setNumBeams(8), vkOk);
    g.setMonitorEnabled(true);
    ASSERT_EQ(g.start(), vkOk);
    Noise noise(9);
    std::size_t allocations = 0;
    for (int block = 0; block < 64; ++block) {
        const int beam = block % 8;
        g.setPhi(beam, float((block * 37) % 360));
        g.setTheta(beam, float(30 + block % 120));
        if (block % 4 == 0) {
            const int pattern = (block / 4) % g.patternCount();
            ASSERT_EQ(g.setPattern(beam, pattern), vkOk);
            ASSERT_EQ(g.setParameter(beam, 0), vkOk);
        }
        g.setBeamGain(beam, 0.5f + 0.01f * float(block));
        const float gains[2] = {1.0f, 0.9f};
        g.setInputChannelGains(gains, 2);
        const int outputs[2] = {block % 8, (block + 3) % 8};
        ASSERT_EQ(g.setMonitorOutputs(outputs, 1 + block % 2), vkOk);
        g.setMonitorSource(block % 2, block);
        ASSERT_EQ(g.setHighpass(block % g.highpassCount()), vkOk);

        noise.fill(rig.in);
        AllocationCounter counter;
        ASSERT_EQ(g.process(rig.in.data(), rig.out.data(), kBlock), vkOk);
        allocations += counter.count();
    }
    EXPECT_EQ(allocations, 0u);
    g.stop();
}

} // namespace
