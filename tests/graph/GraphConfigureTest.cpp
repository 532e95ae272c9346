// Configuration of the graph: the formats it runs, what a started graph refuses, and the
// limits of the beam count, the monitor and the high-pass choice.

#include "tests/support/AudioGraphProbe.h"
#include "tests/graph/GraphRig.h"

#include "audiofile/CAudioFile.h"
#include "beamformer/CZirc.h"
#include "stages/CFilterStageBq.h"

using namespace graphtest;

namespace {

struct FormatCase {
    const char* what;
    int inputs;
    float inRate;
    int outputs;
    float outRate;
    int expected;
};

// The limits of the sample rate are 44100 Hz less and more ten per cent, inclusive, on the
// rate truncated to whole hertz.
const FormatCase kFormatCases[] = {
    {"32 inputs", 32, 44100.0f, 2, 44100.0f, vkOk},
    {"33 inputs", 33, 44100.0f, 2, 44100.0f, vkErrFormat},
    {"no outputs", 32, 44100.0f, 0, 44100.0f, vkErrFormat},
    {"lowest rate", 32, 39690.0f, 2, 39690.0f, vkOk},
    {"one hertz below", 32, 39689.0f, 2, 39689.0f, vkErrFormat},
    {"a fraction below, truncated", 32, 39689.9f, 2, 39689.9f, vkErrFormat},
    {"highest rate", 32, 48510.0f, 2, 48510.0f, vkOk},
    {"one hertz above", 32, 48511.0f, 2, 48511.0f, vkErrFormat},
    {"48 kHz", 32, 48000.0f, 24, 48000.0f, vkOk},
    {"rates differ", 32, 44100.0f, 2, 48000.0f, vkErrFormat},
    {"96 kHz", 32, 96000.0f, 2, 96000.0f, vkErrFormat},
};

TEST(GraphConfigure, RunsTheRatesAroundFortyFourAndFortyEightKilohertzOnly)
{
    application();
    for (const FormatCase& c : kFormatCases) {
        SCOPED_TRACE(c.what);
        CAudioGraph graph;
        EXPECT_EQ(graph.configure(format(c.inputs, c.inRate), format(c.outputs, c.outRate)), c.expected);
        if (c.expected == vkOk) {
            Channels out(c.outputs);
            EXPECT_EQ(graph.process(nullptr, out.data(), kBlock), vkOk);
        }
    }
}

TEST(GraphConfigure, RefusedFormatsLeaveTheWorkingGraphAlone)
{
    Rig rig(4);
    Noise noise(1);
    EXPECT_EQ(rig.graph.configure(format(33), format(4)), vkErrFormat);
    EXPECT_EQ(rig.graph.configure(format(32), format(4, kRate, kBlock * 2)), vkErrFormat);
    EXPECT_EQ(rig.graph.outFormat(), format(4));
    EXPECT_EQ(rig.run(noise), vkOk);
}

TEST(GraphConfigure, DoesNotRunBeforeConfigurationOrBeyondTheBlock)
{
    application();
    CAudioGraph idle;
    Channels out(2);
    EXPECT_EQ(idle.process(nullptr, out.data(), kBlock), vkErrNotConfigured);

    Rig rig(2);
    EXPECT_EQ(rig.graph.process(rig.in.data(), rig.out.data(), kBlock + 1), vkErrFormat);
    EXPECT_EQ(rig.graph.process(rig.in.data(), rig.out.data(), 1), vkOk);
}

TEST(GraphConfigure, LiveInputNeedsAllThirtyTwoDriverInputs)
{
    application();
    CAudioGraph graph;
    ASSERT_EQ(graph.configure(format(8), format(2)), vkOk);
    EXPECT_EQ(graph.setInputMode(CAudioGraph::inputLive), vkErrFormat);
    EXPECT_EQ(graph.inputMode(), CAudioGraph::inputFile);

    Rig live(2);
    EXPECT_EQ(live.graph.configure(format(8), format(2)), vkErrFormat);
    EXPECT_EQ(live.graph.openInputFile("/nonexistent.wav"), CAudioGraph::errNotFileMode);
}

TEST(GraphConfigure, StartedGraphRefusesRewiringButTakesLiveChanges)
{
    Rig rig(4);
    CAudioGraph& g = rig.graph;
    ASSERT_EQ(g.start(), vkOk);
    EXPECT_TRUE(g.isStarted());
    EXPECT_EQ(g.configure(format(32), format(4)), vkErrStarted);
    EXPECT_EQ(g.setInputMode(CAudioGraph::inputFile), vkErrStarted);
    EXPECT_EQ(g.setProcessingMode(CAudioGraph::processingStraight), vkErrStarted);
    EXPECT_EQ(g.setNumBeams(4), vkErrStarted);
    EXPECT_EQ(g.numBeams(), 2);

    const int outputs[] = {3};
    EXPECT_EQ(g.setMonitorOutputs(outputs, 1), vkOk);
    EXPECT_EQ(g.setHighpass(2), vkOk);
    EXPECT_EQ(g.setPhi(0, 90.0f), vkOk);

    EXPECT_EQ(g.stop(), vkOk);
    EXPECT_FALSE(g.isStarted());
    EXPECT_EQ(g.setNumBeams(4), vkOk);
    EXPECT_EQ(g.setInputMode(CAudioGraph::inputFile), vkOk);
}

TEST(GraphConfigure, BeamCountClampsActivatesTheNodeAndSizesTheBeamRecorder)
{
    Rig rig(18);
    CAudioGraph& g = rig.graph;
    CKorvane* engine = CAudioGraphProbe(g).beamformer()->engine();
    // A new graph runs only the beams of its count.
    EXPECT_TRUE(engine->beamActive(1));
    EXPECT_FALSE(engine->beamActive(2));

    const struct {
        int asked;
        int kept;
    } cases[] = {{-1, 0}, {19, 18}, {5, 5}, {0, 0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.asked);
        EXPECT_EQ(g.setNumBeams(c.asked), vkOk);
        EXPECT_EQ(g.numBeams(), c.kept);
        EXPECT_EQ(CAudioGraphProbe(g).audioFile(CAudioGraph::stageBeamRecorder)->inFormat().channels(), c.kept);
        for (int b = 0; b < g.maxBeams(); ++b)
            EXPECT_EQ(engine->beamActive(b), b < c.kept) << "beam " << b;
    }
}

TEST(GraphConfigure, MonitorSourceOffsetStaysOnItsBus)
{
    Rig rig(4);
    CAudioGraph& g = rig.graph;
    const struct {
        int source, offset, kept;
    } cases[] = {{0, 40, 31}, {1, 40, 17}, {1, -3, 0}, {0, 31, 31}, {1, 17, 17}};
    for (const auto& c : cases) {
        g.setMonitorSource(c.source, c.offset);
        EXPECT_EQ(g.monitorOffset(), c.kept) << c.source << ", " << c.offset;
    }
}

TEST(GraphConfigure, RefusedMonitorOutputsKeepThePreviousOnes)
{
    Rig rig(6);
    CAudioGraph& g = rig.graph;
    const int good[] = {3, 5};
    ASSERT_EQ(g.setMonitorOutputs(good, 2), vkOk);

    const int three[] = {0, 1, 2};
    const int negative[] = {1, -1};
    const int beyond[] = {6};
    EXPECT_EQ(g.setMonitorOutputs(three, 3), vkErrRange);
    EXPECT_EQ(g.setMonitorOutputs(negative, 2), vkErrRange);
    EXPECT_EQ(g.setMonitorOutputs(beyond, 1), vkErrRange);
    EXPECT_EQ(g.setMonitorOutputs(nullptr, 1), vkErrRange);
    EXPECT_EQ(g.numMonitorOutputs(), 2);
    EXPECT_EQ(g.monitorOutput(0), 3);
    EXPECT_EQ(g.monitorOutput(1), 5);

    EXPECT_EQ(g.setMonitorOutputs(nullptr, 0), vkOk);
    EXPECT_EQ(g.numMonitorOutputs(), 0);
}

TEST(GraphConfigure, HighpassOffersFourCornersOnEveryBeam)
{
    Rig rig(2);
    CAudioGraph& g = rig.graph;
    EXPECT_EQ(g.highpassCount(), 4);
    EXPECT_EQ(g.setHighpass(4), vkErrRange);
    EXPECT_EQ(g.setHighpass(-1), vkErrRange);

    int corners[5] = {-1, -1, -1, -1, -1};
    EXPECT_EQ(g.highpassFrequencies(corners, 5), 4);
    EXPECT_EQ(std::vector<int>(corners, corners + 5), (std::vector<int>{0, 80, 160, 320, -1}));
    int two[3] = {-1, -1, -1};
    EXPECT_EQ(g.highpassFrequencies(two, 2), 2);
    EXPECT_EQ(two[2], -1);

    for (int b = 0; b < g.maxBeams(); ++b)
        EXPECT_EQ(CAudioGraphProbe(g).highpass()->sections(b), 3) << "beam " << b;
}

} // namespace
