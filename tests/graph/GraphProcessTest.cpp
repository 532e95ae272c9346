// One block through the graph: what reaches the driver's outputs, the monitor, the
// anti-denormal offset, a failing stage, the beam chain's shortcuts, the high-pass at the
// graph's rate and a stop.

#include "tests/support/AudioGraphProbe.h"
#include "tests/graph/GraphRig.h"

#include "beamformer/CZirc.h"
#include "stages/CFilterStageBq.h"
#include "stages/CMaxValue.h"
#include "stages/CVolumeControl.h"
#include "stages/vkHighpassSets.h"
#include "tests/stages/StageSignals.h"

using namespace graphtest;

namespace {

constexpr float kSentinel = 7.0f;

// Peaks of a level stage since its last read.
std::vector<float> peaks(CMaxValue* level, int channels)
{
    std::vector<float> p(static_cast<std::size_t>(channels)), e(static_cast<std::size_t>(channels));
    level->takeLevels(p.data(), e.data(), channels);
    return p;
}

TEST(GraphProcess, OutputsBeyondTheActiveBeamsAreSilent)
{
    Rig rig(18);
    Noise noise(2);
    for (int block = 0; block < 4; ++block) {
        rig.out.fill(kSentinel);
        ASSERT_EQ(rig.run(noise), vkOk);
        for (int ch = 0; ch < 2; ++ch)
            EXPECT_EQ(maxDifference(rig.out.pointers[ch], rig.graph.outputBus()->channel(ch), kBlock), 0.0f);
        for (int ch = 2; ch < 18; ++ch)
            EXPECT_TRUE(allEqual(rig.out.pointers[ch], kBlock, 0.0f)) << "output " << ch;
    }
}

TEST(GraphProcess, FewOutputsCarryTheFirstBeamsWhileTheLevelSeesThemAll)
{
    Rig rig(4);
    ASSERT_EQ(rig.graph.setNumBeams(18), vkOk);
    Noise noise(3);
    for (int block = 0; block < 3; ++block)
        ASSERT_EQ(rig.run(noise), vkOk);
    for (int ch = 0; ch < 4; ++ch)
        EXPECT_EQ(maxDifference(rig.out.pointers[ch], rig.graph.outputBus()->channel(ch), kBlock), 0.0f);
    const std::vector<float> level = peaks(CAudioGraphProbe(rig.graph).maxValue(CAudioGraph::stageOutputLevel), 18);
    for (int b = 0; b < 18; ++b)
        EXPECT_GT(level[b], 0.0f) << "beam " << b;
}

// The monitor listens to input channel 5 (gain 2 at the input, 0.5 at the monitor) and
// overwrites beam 1's output and the silent output 3; then it listens to beam 1 and
// speaks on beam 1's own output. A twin graph without the monitor gives the beams.
TEST(GraphProcess, MonitorOverwritesTheOutputsItSpeaksOn)
{
    Rig rig(4), twin(4);
    CAudioGraph& g = rig.graph;
    const float gains[6] = {1, 1, 1, 1, 1, 2};
    g.setInputChannelGains(gains, 6);
    twin.graph.setInputChannelGains(gains, 6);
    g.setMonitorGain(0.5f);
    const int outputs[] = {1, 3};
    ASSERT_EQ(g.setMonitorOutputs(outputs, 2), vkOk);
    g.setMonitorSource(CAudioGraph::monitorInputBus, 5);
    g.setMonitorEnabled(true);

    Noise noise(4), twinNoise(4);
    const auto run = [&] {
        ASSERT_EQ(rig.run(noise), vkOk);
        ASSERT_EQ(twin.run(twinNoise), vkOk);
    };
    run();
    std::vector<float> expected(kBlock);
    for (int i = 0; i < kBlock; ++i)
        expected[i] = (rig.in.samples[5][i] * 2.0f + CAudioGraph::kAntiDenormal) * 0.5f;
    EXPECT_EQ(maxDifference(rig.out.pointers[1], expected.data(), kBlock), 0.0f);
    EXPECT_EQ(maxDifference(rig.out.pointers[3], expected.data(), kBlock), 0.0f);
    EXPECT_EQ(maxDifference(rig.out.pointers[0], twin.out.pointers[0], kBlock), 0.0f);

    // Beam 1 on its own output alone: the monitor takes the beam before overwriting it.
    g.setMonitorSource(CAudioGraph::monitorOutputBus, 1);
    ASSERT_EQ(g.setMonitorOutputs(outputs, 1), vkOk);
    run();
    for (int i = 0; i < kBlock; ++i)
        expected[i] = twin.out.pointers[1][i] * 0.5f;
    EXPECT_FALSE(allEqual(expected.data(), kBlock, 0.0f));
    EXPECT_EQ(maxDifference(rig.out.pointers[1], expected.data(), kBlock), 0.0f);
    EXPECT_TRUE(allEqual(rig.out.pointers[3], kBlock, 0.0f));

    g.setMonitorEnabled(false);
    run();
    EXPECT_EQ(maxDifference(rig.out.pointers[1], twin.out.pointers[1], kBlock), 0.0f);
}

TEST(GraphProcess, InputBusCarriesTheAntiDenormalOffsetToLevelAndStraightOutputs)
{
    Rig rig(4);
    CAudioGraph& g = rig.graph;
    ASSERT_EQ(g.setProcessingMode(CAudioGraph::processingStraight), vkOk);
    ASSERT_EQ(g.setNumBeams(3), vkOk);
    Noise noise(5);
    rig.out.fill(kSentinel);
    ASSERT_EQ(rig.run(noise), vkOk);
    std::vector<float> expected(kBlock);
    for (int ch = 0; ch < 3; ++ch) {
        for (int i = 0; i < kBlock; ++i)
            expected[i] = rig.in.samples[ch][i] + CAudioGraph::kAntiDenormal;
        EXPECT_EQ(maxDifference(rig.out.pointers[ch], expected.data(), kBlock), 0.0f) << "output " << ch;
    }
    EXPECT_TRUE(allEqual(rig.out.pointers[3], kBlock, 0.0f));

    // Silence in: the input level of the beamforming chain sees the offset alone.
    ASSERT_EQ(g.setProcessingMode(CAudioGraph::processingBeamforming), vkOk);
    rig.in.fill(0.0f);
    peaks(CAudioGraphProbe(g).maxValue(CAudioGraph::stageInputLevel), 32);
    ASSERT_EQ(g.process(rig.in.data(), rig.out.data(), kBlock), vkOk);
    for (float p : peaks(CAudioGraphProbe(g).maxValue(CAudioGraph::stageInputLevel), 32))
        EXPECT_EQ(p, CAudioGraph::kAntiDenormal);
}

// Stage 1 gives a library error on a missing channel: the offset still goes onto the
// input bus, nothing behind it runs and the driver's outputs stay as they were.
TEST(GraphProcess, FailingInputStageEndsTheBlockAfterTheOffset)
{
    Rig rig(4);
    CAudioGraph& g = rig.graph;
    const int outputs[] = {2};
    ASSERT_EQ(g.setMonitorOutputs(outputs, 1), vkOk);
    g.setMonitorEnabled(true);
    Noise noise(6);
    noise.fill(rig.in);
    rig.in.pointers[31] = nullptr;
    rig.out.fill(kSentinel);
    peaks(CAudioGraphProbe(g).maxValue(CAudioGraph::stageInputLevel), 32);

    EXPECT_NE(g.process(rig.in.data(), rig.out.data(), kBlock), vkOk);
    for (int ch = 0; ch < 4; ++ch)
        EXPECT_TRUE(allEqual(rig.out.pointers[ch], kBlock, kSentinel)) << "output " << ch;
    for (float p : peaks(CAudioGraphProbe(g).maxValue(CAudioGraph::stageInputLevel), 32))
        EXPECT_EQ(p, 0.0f);
    std::vector<float> expected(kBlock);
    for (int i = 0; i < kBlock; ++i)
        expected[i] = rig.in.samples[0][i] + CAudioGraph::kAntiDenormal;
    EXPECT_EQ(maxDifference(g.inputBus()->channel(0), expected.data(), kBlock), 0.0f);
}

// Beams are made in the driver's outputs: one the driver leaves out is skipped, and the
// others carry what a twin graph with every output gives.
TEST(GraphProcess, AnOutputTheDriverLeavesOutIsSkipped)
{
    Rig rig(4), twin(4);
    ASSERT_EQ(rig.graph.setNumBeams(4), vkOk);
    ASSERT_EQ(twin.graph.setNumBeams(4), vkOk);
    rig.out.pointers[1] = nullptr;
    Noise noise(8), twinNoise(8);
    for (int block = 0; block < 2; ++block) {
        ASSERT_EQ(rig.run(noise), vkOk);
        ASSERT_EQ(twin.run(twinNoise), vkOk);
    }
    for (int ch : {0, 2, 3})
        EXPECT_EQ(maxDifference(rig.out.pointers[ch], twin.out.pointers[ch], kBlock), 0.0f) << "output " << ch;
}

TEST(GraphProcess, FileModeNeverReadsTheDriverInput)
{
    Rig rig(2, CAudioGraph::inputFile);
    EXPECT_EQ(rig.graph.process(nullptr, rig.out.data(), kBlock), vkOk);
}

TEST(GraphProcess, StopLeavesEveryStageBufferSilent)
{
    Rig rig(4);
    CAudioGraph& g = rig.graph;
    const int outputs[] = {0, 1};
    ASSERT_EQ(g.setMonitorOutputs(outputs, 2), vkOk);
    g.setMonitorEnabled(true);
    ASSERT_EQ(g.setNumBeams(8), vkOk);
    ASSERT_EQ(g.start(), vkOk);
    Noise noise(7);
    for (int block = 0; block < 3; ++block)
        ASSERT_EQ(rig.run(noise), vkOk);
    // Beams 4 to 7 have no output and stay in the beamformer's buffer.
    ASSERT_FALSE(allEqual(g.stageOutput(CAudioGraph::stageBeamformer)->channel(4), kBlock, 0.0f));

    EXPECT_EQ(g.stop(), vkOk);
    for (int s = 0; s < CAudioGraph::stageCount; ++s) {
        const vkAudioBuffer* b = g.stageOutput(s);
        ASSERT_NE(b, nullptr);
        for (int ch = 0; ch < b->format()->channels(); ++ch)
            EXPECT_TRUE(allEqual(b->channel(ch), kBlock, 0.0f)) << "stage " << s << " channel " << ch;
    }
}

// The beamformer, a volume stage and a high-pass stage that multiply and filter every
// sample of every block out of place, as the beam chain does without its shortcuts.
struct FullBeamChain {
    explicit FullBeamChain(int beams)
        : input(32)
        , beamformed(18)
        , scaled(18)
        , filtered(18)
    {
        EXPECT_EQ(node.setFormat(format(32), format(18)), vkOk);
        for (int b = 0; b < node.beamCount(); ++b)
            node.setBeamActive(b, b < beams);
        node.reset();
        EXPECT_EQ(volume.setFormat(format(18), format(18)), vkOk);
        EXPECT_EQ(highpass.setFormat(format(18), format(18)), vkOk);
        const std::vector<int> sections(18, 3);
        EXPECT_EQ(highpass.setSections(sections.data(), 18), vkOk);
        setHighpass(0);
    }
    void setHighpass(int set)
    {
        for (int b = 0; b < 18; ++b)
            EXPECT_EQ(highpass.setTaps(b, vkHighpassSet(set, kRate).data()), vkOk);
    }
    // The driver's block with the anti-denormal offset, through all three stages.
    void run(const Channels& in)
    {
        for (int ch = 0; ch < 32; ++ch)
            for (int i = 0; i < kBlock; ++i)
                input.samples[ch][i] = in.samples[ch][i] + CAudioGraph::kAntiDenormal;
        EXPECT_EQ(node.process(input.data(), beamformed.data(), kBlock), vkOk);
        EXPECT_EQ(volume.process(beamformed.data(), scaled.data(), kBlock), vkOk);
        EXPECT_EQ(highpass.process(scaled.data(), filtered.data(), kBlock), vkOk);
    }

    CZirc node;
    CVolumeControl volume;
    CFilterStageBq highpass;
    Channels input, beamformed, scaled, filtered;
};

// Unity gain, gain changes, a mute and back to unity, and high-pass sets with stretches
// of the pass-through set between them, all while audio runs: the beams leave the graph
// sample for sample as from the chain that computes everything, those that reach the
// driver's four outputs and, through the output level's peaks, the two that do not.
TEST(GraphProcess, BeamChainShortcutsGiveTheFullComputation)
{
    constexpr int kBeams = 6, kOutputs = 4;
    Rig rig(kOutputs);
    CAudioGraph& g = rig.graph;
    ASSERT_EQ(g.setNumBeams(kBeams), vkOk);
    ASSERT_EQ(g.start(), vkOk);
    FullBeamChain full(kBeams);
    CVolumeControl* volume = CAudioGraphProbe(g).volumeControl(CAudioGraph::stageBeamVolume);
    const std::function<void(CVolumeControl*)> changes[] = {
        [](CVolumeControl*) {},
        [](CVolumeControl* v) {
            v->setChannelVolume(1, 0.5f);
            v->setChannelVolume(5, 0.5f);
        },
        [](CVolumeControl* v) { v->setMute(1, true); },
        [](CVolumeControl* v) {
            v->setMute(1, false);
            v->setChannelVolume(1, 1.0f);
            v->setChannelVolume(5, 1.0f);
        },
        [](CVolumeControl* v) { v->setMasterVolume(0.25f); },
        [](CVolumeControl* v) { v->setMasterVolume(1.0f); },
        [](CVolumeControl* v) { v->setMute(-1, true); },
        [](CVolumeControl* v) { v->setMute(-1, false); },
    };
    const int sets[] = {3, 3, 0, 0, 0, 1, 0, 2, 2, 0, 0, 0};
    Noise noise(10);
    CMaxValue* level = CAudioGraphProbe(g).maxValue(CAudioGraph::stageOutputLevel);
    for (int block = 0; block < int(std::size(sets)); ++block) {
        for (CVolumeControl* v : {volume, &full.volume})
            changes[std::size_t(block) % std::size(changes)](v);
        ASSERT_EQ(g.setHighpass(sets[block]), vkOk);
        full.setHighpass(sets[block]);
        ASSERT_EQ(rig.run(noise), vkOk);
        full.run(rig.in);
        for (int b = 0; b < kOutputs; ++b)
            ASSERT_EQ(maxDifference(rig.out.pointers[b], full.filtered.pointers[b], kBlock), 0.0f)
                << "block " << block << " beam " << b;
        const std::vector<float> levels = peaks(level, kBeams);
        for (int b = kOutputs; b < kBeams; ++b) {
            const float* beam = full.filtered.pointers[b];
            const float peak = std::fabs(*std::max_element(beam, beam + kBlock, [](float x, float y) {
                return std::fabs(x) < std::fabs(y);
            }));
            ASSERT_EQ(levels[b], peak) << "block " << block << " beam " << b;
        }
    }
}

// At 48 kHz the 80 Hz set takes 3 dB off a beam at 80 Hz: a graph with set 1 against its
// twin with the pass-through, on the same 80 Hz tone on every capsule. The beamformer is
// linear and ahead of the high-pass, so the ratio of the two beams is the filter's alone.
TEST(GraphProcess, HighpassCornerSitsWhereItIsNamedAtTheGraphsRate)
{
    constexpr float kRate48 = 48000.0f;
    const int settle = 24000, span = 48000, blocks = (settle + span) / kBlock + 1;
    const std::vector<float> tone = stagetest::sine(80.0, kRate48, blocks * kBlock);
    std::vector<float> beams[2];
    for (int set : {0, 1}) {
        application();
        CAudioGraph g;
        ASSERT_EQ(g.setInputMode(CAudioGraph::inputLive), vkOk);
        ASSERT_EQ(g.configure(format(32, kRate48), format(1, kRate48)), vkOk);
        ASSERT_EQ(g.setHighpass(set), vkOk);
        ASSERT_EQ(g.start(), vkOk);
        Channels in(32), out(1);
        for (int block = 0; block < blocks; ++block) {
            for (auto& ch : in.samples)
                std::copy_n(tone.begin() + block * kBlock, kBlock, ch.begin());
            ASSERT_EQ(g.process(in.data(), out.data(), kBlock), vkOk);
            beams[set].insert(beams[set].end(), out.samples[0].begin(), out.samples[0].end());
        }
    }
    const double passed = stagetest::amplitudeAt(beams[0], 80.0, kRate48, settle, settle + span);
    const double filtered = stagetest::amplitudeAt(beams[1], 80.0, kRate48, settle, settle + span);
    ASSERT_GT(passed, 1e-3);
    EXPECT_NEAR(stagetest::toDb(filtered / passed), -3.0103, 0.05);
}

} // namespace
