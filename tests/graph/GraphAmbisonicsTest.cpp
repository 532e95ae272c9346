// The graph's Ambisonics encoder and binaural decoder: fed with the engine's own modes,
// equal to the two engines run beside the graph on the same modes; idle when nothing
// uses them; the N3D format reaches the decoder once; the binaural monitor carries the
// two ears; the format's refusals; and no allocation while the mounting, the head and
// the ear filters change between blocks.

#include "tests/graph/GraphRig.h"

#include "ambisonics/CAmbiEncoder.h"
#include "binaural/CBinauralDecoder.h"
#include "binaural/CBinauralFilters.h"
#include "tests/support/AllocationCounter.h"

#include <limits>

using namespace graphtest;

namespace {

constexpr int kModes = CAmbiEncoder::kModes;
constexpr int kChannels = CAudioGraph::kAmbiChannels;

// Copies the engine's modes of each block, as the encoder stage reads them.
class ModeCopy : public CKorvane::ModeTap {
public:
    ModeCopy() : modes(kModes) {}
    void feedModes(const float* const* in, int count, int frames) override
    {
        for (int m = 0; m < std::min(count, kModes); ++m)
            std::copy_n(in[m], frames, modes.samples[std::size_t(m)].data());
    }
    Channels modes;
};

// Short ear filters that tell the channels apart: ear e of channel c is an impulse of
// height (c + 1) * (e ? -1 : 1) / 16 at tap c.
CBinauralFilters markedFilters(int taps = 24)
{
    std::vector<float> data(std::size_t(kChannels * 2 * taps), 0.0f);
    for (int c = 0; c < kChannels; ++c)
        for (int e = 0; e < 2; ++e)
            data[std::size_t((c * 2 + e) * taps + c)] = float(c + 1) * (e ? -1.0f : 1.0f) / 16.0f;
    return CBinauralFilters(taps, kRate, std::move(data));
}

bool silent(const vkAudioBuffer* b)
{
    for (int ch = 0; ch < b->format()->channels(); ++ch)
        if (!allEqual(b->channel(ch), kBlock, 0.0f))
            return false;
    return true;
}

// A graph with two beams, a mode copy and the binaural monitor on outputs 2 and 3.
struct AmbiRig : Rig {
    AmbiRig() : Rig(4)
    {
        graph.setModeTap(&copy);
        const int monitor[2] = {2, 3};
        EXPECT_EQ(graph.setMonitorOutputs(monitor, 2), vkOk);
        graph.setMonitorSource(CAudioGraph::monitorBinaural, 0);
        EXPECT_EQ(graph.setBinauralFilters(markedFilters()), vkOk);
    }
    ~AmbiRig() { graph.setModeTap(nullptr); }
    ModeCopy copy;
};

// The reference: the two engines on their own, fed with the modes the graph's engine made.
struct Reference {
    explicit Reference(AmbiNorm norm, const CRotation3& mounting = CRotation3::identity())
        : ambi(kChannels)
        , ears(2)
    {
        encoder.setNorm(norm);
        encoder.setOrientation(mounting);
        decoder.setInputNorm(norm);
        EXPECT_EQ(encoder.setFormat(format(kModes), format(kChannels)), vkOk);
        EXPECT_EQ(decoder.setFormat(format(kChannels), format(2)), vkOk);
        EXPECT_EQ(decoder.setFilters(markedFilters()), vkOk);
        EXPECT_EQ(encoder.start(), vkOk);
        EXPECT_EQ(decoder.start(), vkOk);
    }
    void run(Channels& modes)
    {
        ASSERT_EQ(encoder.process(modes.data(), ambi.data(), kBlock), vkOk);
        ASSERT_EQ(decoder.process(ambi.data(), ears.data(), kBlock), vkOk);
    }
    CAmbiEncoder encoder;
    CBinauralDecoder decoder;
    Channels ambi;
    Channels ears;
};

TEST(GraphAmbisonics, EncoderAndDecoderEqualTheEnginesRunOnTheSameModes)
{
    AmbiRig rig;
    CAudioGraph& g = rig.graph;
    Reference ref(AmbiNorm::kSn3d, CRotation3::fromYawPitchRoll(30.0, -10.0, 5.0));
    ASSERT_EQ(g.setMountingOrientation(30.0f, -10.0f, 5.0f), vkOk);
    g.setMonitorEnabled(true);
    ASSERT_EQ(g.start(), vkOk);
    Noise noise(3);
    float loudest = 0.0f;
    for (int block = 0; block < 12; ++block) {
        // A turn and a head movement mid-run glide the same way in both.
        if (block == 5) {
            ASSERT_EQ(g.setMountingOrientation(-90.0f, 0.0f, 180.0f), vkOk);
            ref.encoder.setOrientation(CRotation3::fromYawPitchRoll(-90.0, 0.0, 180.0));
            ASSERT_EQ(g.setHeadOrientation({40.0f, 10.0f, 0.0f}), vkOk);
            ASSERT_TRUE(ref.decoder.setHeadOrientation({40.0f, 10.0f, 0.0f}));
        }
        ASSERT_EQ(rig.run(noise), vkOk);
        ref.run(rig.copy.modes);
        for (int c = 0; c < kChannels; ++c)
            ASSERT_EQ(maxDifference(g.ambisonicsBus()->channel(c), ref.ambi.samples[c].data(), kBlock), 0.0f)
                << "block " << block << " channel " << c;
        for (int e = 0; e < 2; ++e) {
            ASSERT_EQ(maxDifference(g.binauralBus()->channel(e), ref.ears.samples[e].data(), kBlock), 0.0f)
                << "block " << block << " ear " << e;
            // The monitor: left ear on its first output, right on its second.
            ASSERT_EQ(maxDifference(rig.out.samples[2 + e].data(), ref.ears.samples[e].data(), kBlock), 0.0f);
            for (float x : ref.ears.samples[e])
                loudest = std::max(loudest, std::abs(x));
        }
    }
    EXPECT_GT(loudest, 0.0f); // the comparison was of sound, not of silence
    EXPECT_EQ(g.binauralLatency(), CBinauralDecoder::kPartition);
    g.stop();
}

TEST(GraphAmbisonics, StagesIdleUntilSomethingUsesThem)
{
    AmbiRig rig;
    CAudioGraph& g = rig.graph;
    ASSERT_EQ(g.start(), vkOk);
    Noise noise(4);
    // Monitor off, no take, no reader: neither stage runs.
    for (int block = 0; block < 4; ++block)
        ASSERT_EQ(rig.run(noise), vkOk);
    EXPECT_TRUE(silent(g.ambisonicsBus()));
    EXPECT_TRUE(silent(g.binauralBus()));
    // A reader of the Ambisonics channels runs the encoder alone.
    g.setAmbisonicsReader(true);
    ASSERT_EQ(rig.run(noise), vkOk);
    EXPECT_FALSE(silent(g.ambisonicsBus()));
    EXPECT_TRUE(silent(g.binauralBus()));
    // The binaural monitor without outputs is heard by no one.
    ASSERT_EQ(g.setMonitorOutputs(nullptr, 0), vkOk);
    g.setMonitorEnabled(true);
    ASSERT_EQ(rig.run(noise), vkOk);
    EXPECT_TRUE(silent(g.binauralBus()));
    g.setBinauralReader(true);
    ASSERT_EQ(rig.run(noise), vkOk);
    EXPECT_FALSE(silent(g.binauralBus()));
    g.stop();
}

// After a pause the stages start from cleared history: the first block after it equals a
// fresh pair of engines, not the continuation of the sound before.
TEST(GraphAmbisonics, StagesResumeFromClearedHistory)
{
    AmbiRig rig;
    CAudioGraph& g = rig.graph;
    g.setBinauralReader(true);
    ASSERT_EQ(g.start(), vkOk);
    Noise noise(5);
    for (int block = 0; block < 3; ++block)
        ASSERT_EQ(rig.run(noise), vkOk);
    g.setBinauralReader(false);
    ASSERT_EQ(rig.run(noise), vkOk);
    g.setBinauralReader(true);
    ASSERT_EQ(rig.run(noise), vkOk);
    Reference ref(AmbiNorm::kSn3d);
    ref.run(rig.copy.modes);
    for (int e = 0; e < 2; ++e)
        EXPECT_EQ(maxDifference(g.binauralBus()->channel(e), ref.ears.samples[e].data(), kBlock), 0.0f);
    g.stop();
}

// N3D channels are SN3D times sqrt(2n+1); the decoder, told so, gives the same ears.
TEST(GraphAmbisonics, N3dScalesEachDegreeAndTheEarsStayTheSame)
{
    AmbiRig sn3d;
    AmbiRig n3d;
    ASSERT_EQ(n3d.graph.setAmbisonicsFormat(3, AmbiNorm::kN3d), vkOk);
    EXPECT_EQ(n3d.graph.ambisonicsNorm(), AmbiNorm::kN3d);
    for (AmbiRig* r : {&sn3d, &n3d}) {
        r->graph.setBinauralReader(true);
        ASSERT_EQ(r->graph.start(), vkOk);
    }
    Noise noiseA(6);
    Noise noiseB(6);
    for (int block = 0; block < 6; ++block) {
        ASSERT_EQ(sn3d.run(noiseA), vkOk);
        ASSERT_EQ(n3d.run(noiseB), vkOk);
    }
    for (int c = 0; c < kChannels; ++c) {
        const float scale = float(n3dFromSn3d(acnDegree(c)));
        const float* a = sn3d.graph.ambisonicsBus()->channel(c);
        const float* b = n3d.graph.ambisonicsBus()->channel(c);
        float peak = 0.0f;
        float error = 0.0f;
        for (int i = 0; i < kBlock; ++i) {
            peak = std::max(peak, std::abs(b[i]));
            error = std::max(error, std::abs(b[i] - scale * a[i]));
        }
        ASSERT_GT(peak, 0.0f) << "channel " << c;
        EXPECT_LE(error, 1e-5f * peak) << "channel " << c;
    }
    for (int e = 0; e < 2; ++e) {
        const float* a = sn3d.graph.binauralBus()->channel(e);
        const float* b = n3d.graph.binauralBus()->channel(e);
        const float peak = *std::max_element(a, a + kBlock, [](float x, float y) { return std::abs(x) < std::abs(y); });
        EXPECT_LE(maxDifference(a, b, kBlock), 1e-5f * std::abs(peak)) << "ear " << e;
    }
    sn3d.graph.stop();
    n3d.graph.stop();
}

TEST(GraphAmbisonics, FormatAndOrientationRefusals)
{
    Rig rig(2);
    CAudioGraph& g = rig.graph;
    EXPECT_EQ(g.setAmbisonicsFormat(0, AmbiNorm::kSn3d), vkErrRange);
    EXPECT_EQ(g.setAmbisonicsFormat(4, AmbiNorm::kSn3d), vkErrRange);
    EXPECT_EQ(g.ambisonicsOrder(), 3);
    EXPECT_EQ(g.setAmbisonicsFormat(1, AmbiNorm::kN3d), vkOk);
    EXPECT_EQ(g.ambisonicsOrder(), 1);
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float inf = std::numeric_limits<float>::infinity();
    EXPECT_EQ(g.setMountingOrientation(0.0f, nan, 0.0f), vkErrRange);
    EXPECT_EQ(g.setMountingOrientation(inf, 0.0f, 0.0f), vkErrRange);
    EXPECT_EQ(g.setHeadOrientation({0.0f, 0.0f, nan}), vkErrRange);
    ASSERT_EQ(g.start(), vkOk);
    EXPECT_EQ(g.setAmbisonicsFormat(2, AmbiNorm::kSn3d), vkErrStarted);
    EXPECT_EQ(g.ambisonicsOrder(), 1);
    EXPECT_EQ(g.ambisonicsNorm(), AmbiNorm::kN3d);
    g.stop();
    // An empty filter set is refused by the decoder and the ears keep what they had.
    EXPECT_NE(g.setBinauralFilters(CBinauralFilters()), vkOk);
}

TEST(GraphAmbisonics, ProcessAllocatesNothingWhileMountingHeadAndFiltersChange)
{
    AmbiRig rig;
    CAudioGraph& g = rig.graph;
    g.setMonitorEnabled(true);
    g.setAmbisonicsReader(true);
    ASSERT_EQ(g.start(), vkOk);
    Noise noise(8);
    std::size_t allocations = 0;
    for (int block = 0; block < 48; ++block) {
        ASSERT_EQ(g.setMountingOrientation(float(block * 7), float(block % 30), float(-block)), vkOk);
        ASSERT_EQ(g.setHeadOrientation({float(block * 11), float(block % 20), 0.0f}), vkOk);
        if (block % 6 == 0) {
            ASSERT_EQ(g.setBinauralFilters(markedFilters(16 + block)), vkOk);
        }
        if (block % 8 == 0) {
            g.setAboveAliasing(block % 16 == 0);
        }
        g.setMonitorSource(block % 3 == 0 ? CAudioGraph::monitorOutputBus : CAudioGraph::monitorBinaural, 0);
        noise.fill(rig.in);
        AllocationCounter counter;
        ASSERT_EQ(g.process(rig.in.data(), rig.out.data(), kBlock), vkOk);
        allocations += counter.count();
    }
    EXPECT_EQ(allocations, 0u);
    g.stop();
}

} // namespace
