// The encoder apart from the sphere: its format, the matrix against the engine's own
// harmonics, normalisations and orders, the glide of a turned mounting, block splits,
// the above-aliasing switch, and real-time safety while the mounting turns.
#include "ambisonics/AmbiOrderFilters.h"
#include "ambisonics/CAmbiEncoder.h"
#include "ambisonics/ModeToAmbix.h"
#include "beamformer/tables/EbfMatrix.h"
#include "tests/support/AllocationCounter.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <numbers>
#include <random>
#include <thread>
#include <vector>

namespace {

constexpr float kRate = 48000.0f;
constexpr int kBlock = 512;

vkAudioInterface format(int channels, int block = kBlock) { return vkAudioInterface::timeDomain(channels, kRate, block); }

struct Signals {
    Signals(int channels, int frames) : data(channels, std::vector<float>(frames)), pointers(channels) {}
    float** at(int offset)
    {
        for (size_t c = 0; c < data.size(); ++c)
            pointers[c] = data[c].data() + offset;
        return pointers.data();
    }
    std::vector<std::vector<float>> data;
    std::vector<float*> pointers;
};

Signals noise(int frames, unsigned seed)
{
    Signals s(16, frames);
    std::mt19937 rng(seed);
    std::normal_distribution<float> g(0.0f, 0.1f);
    for (auto& c : s.data)
        for (float& v : c)
            v = g(rng);
    return s;
}

// Runs `in` through the encoder in blocks of `block`.
Signals run(CAmbiEncoder& encoder, Signals& in, int block)
{
    const int frames = int(in.data[0].size());
    Signals out(encoder.outFormat().channels(), frames);
    for (int at = 0; at < frames; at += block) {
        const int n = std::min(block, frames - at);
        EXPECT_EQ(encoder.process(in.at(at), out.at(at), n), vkOk);
    }
    return out;
}

TEST(AmbiEncoder, TakesSixteenModesAndFourNineOrSixteenChannels)
{
    CAmbiEncoder e;
    float* none[16] = {};
    EXPECT_EQ(e.process(none, none, 0), vkErrNotConfigured);
    for (int channels : {1, 5, 15, 25})
        EXPECT_EQ(e.setFormat(format(16), format(channels)), vkErrFormat) << channels;
    EXPECT_EQ(e.setFormat(format(32), format(16)), vkErrFormat);
    EXPECT_EQ(e.setFormat(format(16), format(16, 256)), vkErrFormat);
    EXPECT_EQ(e.setFormat(format(16), vkAudioInterface::timeDomain(16, 44100.0f, kBlock)), vkErrFormat);
    for (int order = 1; order <= 3; ++order) {
        ASSERT_EQ(e.setFormat(format(16), format(ambiChannelCount(order))), vkOk);
        EXPECT_EQ(e.order(), order);
    }
    ASSERT_EQ(e.start(), vkOk);
    EXPECT_EQ(e.setFormat(format(16), format(4)), vkErrStarted);
    Signals s = noise(kBlock + 1, 1);
    Signals out(16, kBlock + 1);
    EXPECT_EQ(e.process(s.at(0), out.at(0), kBlock + 1), vkErrFormat);
    EXPECT_EQ(e.process(s.at(0), out.at(0), -1), vkErrFormat);
}

// The engine's model of a plane wave is mode k = v_k(d) s (ebfHarmonic, with the
// Condon-Shortley phase, in the array's theta/phi); the matrix must turn it into the SN3D
// or N3D harmonics of the mounted direction R d, written independently in the AmbiX frame.
TEST(AmbiEncoder, MatrixTurnsTheEnginesHarmonicsIntoAmbixOnesOfTheMountedDirection)
{
    std::mt19937 rng(9);
    std::uniform_real_distribution<double> theta(0, 180), phi(0, 360), angle(-180, 180);
    for (int trial = 0; trial < 40; ++trial) {
        const double t = theta(rng), p = phi(rng);
        const CRotation3 mounting = trial == 0 ? CRotation3::identity()
                                               : CRotation3::fromYawPitchRoll(angle(rng), angle(rng) / 2, angle(rng));
        for (AmbiNorm norm : {AmbiNorm::kSn3d, AmbiNorm::kN3d}) {
            CAmbiEncoder e;
            e.setOrientation(mounting);
            e.setNorm(norm);
            double expected[16];
            realSphericalHarmonics(mounting.apply(ambiVectorFromAngles(p, 90.0 - t)), 3, norm, expected);
            for (int c = 0; c < 16; ++c) {
                double sum = 0.0;
                for (int k = 0; k < 16; ++k)
                    sum += e.gain(c, k) * kModeGain * ebfHarmonic(k, t, p);
                EXPECT_NEAR(sum, expected[c], 2e-5 * std::max(1.0, std::abs(expected[c]))) << "ACN " << c;
            }
        }
    }
}

TEST(AmbiEncoder, LowerOrdersAreTheFirstChannelsAndN3dIsSn3dScaledPerDegree)
{
    Signals in = noise(4 * kBlock, 2);
    CAmbiEncoder full;
    full.setOrientation(CRotation3::fromYawPitchRoll(10, 20, 30));
    ASSERT_EQ(full.setFormat(format(16), format(16)), vkOk);
    ASSERT_EQ(full.start(), vkOk);
    const Signals reference = run(full, in, kBlock);
    for (int order = 1; order <= 3; ++order) {
        for (AmbiNorm norm : {AmbiNorm::kSn3d, AmbiNorm::kN3d}) {
            CAmbiEncoder e;
            e.setOrientation(CRotation3::fromYawPitchRoll(10, 20, 30));
            e.setNorm(norm);
            ASSERT_EQ(e.setFormat(format(16), format(ambiChannelCount(order))), vkOk);
            ASSERT_EQ(e.start(), vkOk);
            const Signals out = run(e, in, kBlock);
            for (int c = 0; c < ambiChannelCount(order); ++c) {
                const double scale = norm == AmbiNorm::kN3d ? n3dFromSn3d(acnDegree(c)) : 1.0;
                for (size_t s = 0; s < out.data[c].size(); s += 7)
                    ASSERT_NEAR(out.data[c][s], scale * reference.data[c][s], 1e-5 * scale) << order << " " << c;
            }
        }
    }
}

TEST(AmbiEncoder, AnyBlockSplitGivesTheSameChannels)
{
    Signals in = noise(3 * kBlock + 100, 3);
    std::vector<Signals> outs;
    for (int block : {1, 37, kBlock}) {
        CAmbiEncoder e;
        ASSERT_EQ(e.setFormat(format(16), format(16)), vkOk);
        ASSERT_EQ(e.start(), vkOk);
        e.setAboveAliasing(true);
        e.setOrientation(CRotation3::fromYawPitchRoll(90, 0, 0)); // glides during the run
        outs.push_back(run(e, in, block));
    }
    for (int c = 0; c < 16; ++c)
        for (size_t s = 0; s < outs[0].data[c].size(); ++s) {
            ASSERT_NEAR(outs[1].data[c][s], outs[0].data[c][s], 1e-5) << c << " " << s;
            ASSERT_NEAR(outs[2].data[c][s], outs[0].data[c][s], 1e-5) << c << " " << s;
        }
}

// Order 1 has no alignment filter, so steady modes give steady channels: a turn of the
// mounting moves each channel in a straight line from the old value to the new one over
// the glide, never by more than the step of that line.
TEST(AmbiEncoder, TurningTheMountingGlidesWithoutAStep)
{
    CAmbiEncoder e;
    ASSERT_EQ(e.setFormat(format(16), format(4)), vkOk);
    ASSERT_EQ(e.start(), vkOk);
    Signals in(16, 8 * kBlock);
    for (int k = 0; k < 16; ++k)
        std::fill(in.data[k].begin(), in.data[k].end(), 0.1f * float(k + 1));
    Signals out(4, 8 * kBlock);
    ASSERT_EQ(e.process(in.at(0), out.at(0), kBlock), vkOk);
    e.setOrientation(CRotation3::fromYawPitchRoll(180, 0, 0)); // front to back: X and Y turn sign
    for (int b = 1; b < 8; ++b)
        ASSERT_EQ(e.process(in.at(b * kBlock), out.at(b * kBlock), kBlock), vkOk);
    for (int c = 1; c < 4; ++c) {
        const float before = out.data[c][kBlock - 1];
        const float after = out.data[c][8 * kBlock - 1];
        const float step = std::abs(after - before) / CAmbiEncoder::kGlideFrames;
        if (c == 2)
            EXPECT_NEAR(after, before, 1e-6); // Z does not change under a yaw
        else
            EXPECT_NEAR(after, -before, 1e-5);
        for (int s = kBlock; s < 8 * kBlock; ++s)
            ASSERT_LE(std::abs(out.data[c][s] - out.data[c][s - 1]), step * 1.01f + 1e-7f) << c << " " << s;
        EXPECT_NEAR(out.data[c][kBlock + CAmbiEncoder::kGlideFrames / 2 - 1], (before + after) / 2, 1e-5);
    }
}

double sineLevel(CAmbiEncoder& e, double hz, int channel)
{
    constexpr int kFrames = 16 * kBlock;
    Signals in(16, kFrames);
    for (int s = 0; s < kFrames; ++s)
        in.data[channel][s] = float(std::sin(2 * std::numbers::pi * hz * s / kRate));
    const Signals out = run(e, in, kBlock);
    double sum = 0.0;
    for (int s = kFrames / 2; s < kFrames; ++s)
        sum += double(out.data[channel][s]) * out.data[channel][s];
    return std::sqrt(2.0 * sum / (kFrames / 2)) / std::abs(e.gain(channel, channel));
}

// The correction keeps the band below aliasing and takes the top down as the model asks
// (AmbiOrderFilters.h): about 15 dB at 14 kHz for W.
TEST(AmbiEncoder, AboveAliasingSwitchLeavesTheBandBelowAndCutsTheTop)
{
    CAmbiEncoder e;
    ASSERT_EQ(e.setFormat(format(16), format(16)), vkOk);
    ASSERT_EQ(e.start(), vkOk);
    const double plainLow = sineLevel(e, 1000, 0), plainHigh = sineLevel(e, 14000, 0);
    e.setAboveAliasing(true);
    EXPECT_TRUE(e.aboveAliasing());
    ASSERT_EQ(e.start(), vkOk);
    const double low = sineLevel(e, 1000, 0), high = sineLevel(e, 14000, 0);
    EXPECT_NEAR(20 * std::log10(low / plainLow), 0.0, 0.3);
    EXPECT_LT(20 * std::log10(high / plainHigh), -10.0);
    EXPECT_NEAR(20 * std::log10(plainLow), 0.0, 0.05); // W has no alignment filter
}

// Audio thread: no allocation while the control thread turns the mounting, switches the
// normalisation and the correction as fast as it can; the channels stay finite.
TEST(AmbiEncoder, RunsWithoutAllocatingWhileTheMountingTurns)
{
    CAmbiEncoder e;
    ASSERT_EQ(e.setFormat(format(16), format(16)), vkOk);
    ASSERT_EQ(e.start(), vkOk);
    Signals in = noise(kBlock, 4);
    Signals out(16, kBlock);
    std::atomic<bool> done{false};
    std::thread control([&] {
        for (int i = 0; !done.load(); ++i) {
            e.setOrientation(CRotation3::fromYawPitchRoll(i % 360, (i % 180) - 90, i % 90));
            e.setNorm(i % 2 ? AmbiNorm::kN3d : AmbiNorm::kSn3d);
            e.setAboveAliasing(i % 3 == 0);
        }
    });
    size_t allocations = 0;
    bool finite = true;
    for (int b = 0; b < 2000; ++b) {
        AllocationCounter counter;
        e.process(in.at(0), out.at(0), kBlock);
        allocations += counter.count();
        for (int c = 0; c < 16; ++c)
            finite = finite && std::isfinite(out.data[c][kBlock - 1]) && std::abs(out.data[c][kBlock - 1]) < 100.0f;
    }
    done = true;
    control.join();
    EXPECT_EQ(allocations, 0u);
    EXPECT_TRUE(finite);
}

} // namespace
