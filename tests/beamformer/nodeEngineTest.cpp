// The engine's signal path modes, delays and states, run through the node, against
// references computed here: the raw capsule, a stand-alone decomposition, a direct
// convolution with the crossover taps.

#include "tests/beamformer/nodeFixture.h"

#include "beamformer/tables/EbfBiquads.h"
#include "beamformer/tables/EbfMatrix.h"
#include "beamformer/tables/PatternTables.h"
#include "tests/support/AllocationCounter.h"

#include <numbers>
#include <random>

using namespace node_test;

namespace {
Rendering noise(int blocks, unsigned seed = 3)
{
    Rendering r(blocks);
    std::mt19937 rng(seed);
    std::normal_distribution<float> g(0.0f, 0.1f);
    for (auto& capsule : r.capsules)
        for (float& x : capsule)
            x = g(rng);
    return r;
}

float largest(const std::vector<float>& x, size_t from = 0, size_t to = SIZE_MAX)
{
    float m = 0.0f;
    for (size_t i = from; i < std::min(to, x.size()); ++i)
        m = std::max(m, std::abs(x[i]));
    return m;
}
} // namespace

TEST(NodeEngine, ModeThreeIsTheFacingCapsuleAlignedWithTheModalFilters)
{
    const Rendering r = noise(3);
    NodeRig rig(1); // "omni": the nearest capsule
    ASSERT_EQ(rig.zirc.setMbfMode(CKorvane::kModeHf), vkOk);
    for (int ebfMode : {CEbf::kFilterBiquads, CEbf::kFilterBiquadsAndFir}) {
        rig.zirc.stop();
        ASSERT_EQ(rig.zirc.engine()->setEbfFilterMode(ebfMode), vkOk);
        const int delay = ebfMode == CEbf::kFilterBiquads ? 125 : 125 + 315;
        for (bool eq : {true, false}) { // no equaliser in this mode
            rig.zirc.setEqStatus(eq);
            rig.steer({{69, 0}}); // capsule 0
            rig.run(r);
            for (size_t t = 0; t < r.dry.size(); ++t)
                ASSERT_EQ(rig.outputs[0][t], t < size_t(delay) ? 0.0f : r.capsules[0][t - delay]) << t;
        }
    }
    rig.zirc.stop();
    EXPECT_EQ(rig.zirc.engine()->setEbfFilterMode(3), CKorvane::kErrEbfFilterMode);
    EXPECT_EQ(rig.zirc.engine()->ebf().filterMode(), CEbf::kFilterBiquadsAndFir);
}

TEST(NodeEngine, ModeZeroPassesTheModesAndSilencesOutputsPastSixteen)
{
    const Rendering r = noise(2);
    NodeRig rig(18);
    ASSERT_EQ(rig.zirc.setMbfMode(CKorvane::kModeModes), vkOk);
    rig.steer({{90, 0}});
    rig.run(r);
    CEbf ebf;
    std::vector<std::vector<float>> modes(16, std::vector<float>(kBlock));
    ASSERT_EQ(ebf.setFormat(format(32), format(16)), vkOk);
    ASSERT_EQ(ebf.setModeWeights(ebfMatrixRows().data()), vkOk);
    ASSERT_EQ(ebf.setModeIir(kEbfBiquadsA.sections, kEbfBiquadsA.numSections), vkOk);
    std::vector<float*> in(32), out(16);
    for (int blk = 0; blk < r.blocks(); ++blk) {
        for (int ch = 0; ch < 32; ++ch)
            in[ch] = const_cast<float*>(r.capsules[ch].data()) + blk * kBlock;
        for (int k = 0; k < 16; ++k)
            out[k] = modes[k].data();
        ASSERT_EQ(ebf.process(in.data(), out.data(), kBlock), vkOk);
        for (int k = 0; k < 16; ++k)
            for (int s = 0; s < kBlock; ++s)
                ASSERT_EQ(rig.outputs[k][blk * kBlock + s], modes[k][s]) << k;
    }
    EXPECT_GT(largest(rig.outputs[15]), 0.0f);
    EXPECT_EQ(largest(rig.outputs[16]), 0.0f);
    EXPECT_EQ(largest(rig.outputs[17]), 0.0f);
}

// Mode 2 takes the modal branch as it is, mode 4 through the low crossover padded to 27
// samples: a 41-tap crossover there is its convolution, 7 samples later.
TEST(NodeEngine, ModesTwoAndFourDifferByThePaddedLowCrossover)
{
    const Rendering r = noise(3);
    NodeRig modal(1), low(1);
    for (NodeRig* rig : {&modal, &low}) {
        rig->setPattern(kPatternHyper3);
        rig->zirc.setEqStatus(false);
    }
    ASSERT_EQ(modal.zirc.setMbfMode(CKorvane::kModeModal), vkOk);
    ASSERT_EQ(low.zirc.setMbfMode(CKorvane::kModeModalLow), vkOk);
    for (NodeRig* rig : {&modal, &low}) {
        rig->steer({{50, 300}});
        rig->run(r);
    }
    const float* h = PatternTables::kLowCrossover41;
    const std::vector<float>& x = modal.outputs[0];
    double worst = 0.0;
    for (size_t t = 60; t < x.size(); ++t) {
        double y = 0.0;
        for (int k = 0; k < 41; ++k)
            y += double(h[k]) * x[t - 7 - k];
        worst = std::max(worst, std::abs(y - low.outputs[0][t]));
    }
    EXPECT_LT(worst, 1e-6 * largest(x));
    EXPECT_GT(largest(x), 0.0f);
}

TEST(NodeEngine, StopSilencesEveryLineAndASwitchedOffBeamDecaysToZero)
{
    const Rendering r = noise(4);
    const Rendering silence(2);
    NodeRig rig(2);
    rig.setPattern(kPatternCard3);
    rig.steer({{90, 0}});
    rig.run(r);
    ASSERT_GT(largest(rig.outputs[0]), 0.0f);
    for (int mode : {CKorvane::kModeFull, CKorvane::kModeHf}) {
        ASSERT_EQ(rig.zirc.setMbfMode(mode), vkOk);
        rig.run(r);
        rig.zirc.stop();
        ASSERT_EQ(rig.zirc.start(), vkOk);
        rig.run(silence);
        EXPECT_EQ(largest(rig.outputs[0]), 0.0f) << mode;
        EXPECT_EQ(largest(rig.outputs[1]), 0.0f) << mode;
    }
    // Back in mode 1 with every filter loaded again; beam 1 goes off while it sounds.
    ASSERT_EQ(rig.zirc.setMbfMode(CKorvane::kModeFull), vkOk);
    rig.setPattern(kPatternCard3);
    rig.run(r);
    ASSERT_EQ(rig.zirc.engine()->setBeamActive(1, false), vkOk);
    rig.run(silence);
    EXPECT_GT(std::abs(rig.outputs[1][0]), 0.0f); // the filters ring out...
    EXPECT_EQ(largest(rig.outputs[1], 200), 0.0f); // ...and then nothing
}

// Leaving mode 3 gives every section type 0; mode 1 then adds nothing from the high
// branch, exactly as mode 4 does, until the next pattern brings it back.
TEST(NodeEngine, LeavingModeThreeKeepsTheHighBranchSilent)
{
    const Rendering r = noise(3);
    NodeRig left(1), reference(1);
    for (NodeRig* rig : {&left, &reference}) {
        rig->setPattern(kPatternSuper3);
        rig->steer({{120, 200}});
    }
    ASSERT_EQ(left.zirc.setMbfMode(CKorvane::kModeHf), vkOk);
    ASSERT_EQ(reference.zirc.setMbfMode(CKorvane::kModeModalLow), vkOk);
    left.run(r);
    ASSERT_EQ(left.zirc.setMbfMode(CKorvane::kModeFull), vkOk);
    EXPECT_EQ(left.zirc.engine()->hf(0)->hfType(), 0);
    for (NodeRig* rig : {&left, &reference}) {
        rig->steer({{120, 200}}); // both from silence
        rig->run(r);
    }
    for (size_t t = 0; t < r.dry.size(); ++t)
        ASSERT_EQ(left.outputs[0][t], reference.outputs[0][t]) << t;
    left.setPattern(kPatternSuper3);
    left.run(r);
    reference.run(r);
    float difference = 0.0f;
    for (size_t t = 0; t < r.dry.size(); ++t)
        difference = std::max(difference, std::abs(left.outputs[0][t] - reference.outputs[0][t]));
    EXPECT_GT(difference, 0.01f * largest(reference.outputs[0]));
}

// A beam steered about and a beam whose pattern changes every few blocks, on a 1 kHz sine:
// no sample steps further than the sine itself can at the beam's present level, and no
// block allocates.
TEST(NodeEngine, SteeringAndPatternChangesWhileRunningAreSmoothAndAllocateNothing)
{
    constexpr double kFrequency = 1000.0;
    constexpr int kBlocks = 160;
    const Rendering r({90, 40}, CSceneSignal(CSceneSignal::Kind::Sine, kRate, 0.5f, 1, kFrequency), kBlocks);
    NodeRig rig(2);
    rig.setPattern(kPatternHyper3);
    rig.steer({{90, 40}});
    for (auto& o : rig.outputs)
        o.assign(r.dry.size(), 0.0f);
    const int patterns[] = {kPatternCard3, kPatternOmni, kPatternSuper2, kPatternHyper1, kPatternHyper3};
    const Direction path[] = {{80, 60}, {100, 355}, {60, 20}, {90, 40}};
    std::vector<float*> in(32), out(2);
    size_t allocations = 0;
    for (int blk = 0; blk < kBlocks; ++blk) {
        if (blk % 12 == 6)
            rig.setPattern(1, patterns[(blk / 12) % 5]);
        if (blk % 30 == 10) {
            const Direction& d = path[(blk / 30) % 4];
            rig.zirc.setTheta(0, float(d.theta));
            rig.zirc.setPhi(0, float(d.phi));
        }
        for (int ch = 0; ch < 32; ++ch)
            in[ch] = const_cast<float*>(r.capsules[ch].data()) + blk * kBlock;
        for (int b = 0; b < 2; ++b)
            out[b] = rig.outputs[b].data() + blk * kBlock;
        AllocationCounter counter;
        ASSERT_EQ(rig.zirc.process(in.data(), out.data(), kBlock), vkOk);
        allocations += counter.count();
    }
    EXPECT_EQ(allocations, 0u);
    const double slope = 2.0 * std::sin(std::numbers::pi * kFrequency / kRate);
    const size_t window = size_t(kRate / kFrequency);
    for (int b = 0; b < 2; ++b) {
        const std::vector<float>& y = rig.outputs[b];
        double worst = 0.0;
        for (size_t t = 4 * kBlock; t < y.size(); ++t) {
            const double level = largest(y, t - window, t + window);
            worst = std::max(worst, std::abs(double(y[t]) - y[t - 1]) / (slope * level));
        }
        EXPECT_LT(worst, 1.05) << "beam " << b;
        RecordProperty("largest_step_" + std::to_string(b), std::to_string(worst));
    }
}
