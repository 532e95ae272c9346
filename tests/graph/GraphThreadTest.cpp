// Control changes while another thread runs the blocks, as the driver does: monitor
// routing, high-pass, gains, steering and meter reads take effect between blocks, and
// every block completes with finite outputs. Under the thread sanitizer this also shows
// that the hand-overs are free of data races.

#include "tests/graph/GraphRig.h"

#include "stages/CMaxValue.h"
#include "stages/CVolumeControl.h"

#include <atomic>
#include <thread>

using namespace graphtest;

namespace {

TEST(GraphThreads, ControlChangesWhileBlocksRunOnAnotherThread)
{
    Rig rig(6);
    CAudioGraph& g = rig.graph;
    ASSERT_EQ(g.setNumBeams(6), vkOk);
    g.setMonitorEnabled(true);
    ASSERT_EQ(g.start(), vkOk);
    Noise noise(12);
    noise.fill(rig.in);

    std::atomic<bool> done{false};
    std::atomic<int> failures{0};
    std::thread audio([&] {
        for (int block = 0; block < 400; ++block) {
            if (g.process(rig.in.data(), rig.out.data(), kBlock) != vkOk)
                failures.fetch_add(1);
            for (const auto& ch : rig.out.samples)
                if (!std::all_of(ch.begin(), ch.end(), [](float x) { return std::isfinite(x); }))
                    failures.fetch_add(1);
        }
        done = true;
    });

    float peaks[18], envelopes[18];
    for (int step = 0; !done; ++step) {
        const int outputs[2] = {step % 6, (step + 1) % 6};
        g.setMonitorOutputs(outputs, 1 + step % 2);
        g.setMonitorSource(step % 2, step % 40);
        g.setHighpass(step % g.highpassCount());
        g.setPhi(step % 6, float((step * 13) % 360));
        g.setBeamGain(step % 6, 0.8f);
        g.takeLevels(CAudioGraph::levelOutput, peaks, envelopes, 18);
        std::this_thread::yield();
    }
    audio.join();
    EXPECT_EQ(failures.load(), 0);
    EXPECT_EQ(g.stop(), vkOk);
}

} // namespace
