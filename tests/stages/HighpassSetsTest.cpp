#include "stages/vkHighpassSets.h"
#include "StageSignals.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <utility>

using namespace stagetest;

namespace {
// The sets as they were stored for 44100 Hz before they were designed at the running rate:
// b0 and the a1 a2 of each section (b1 = -2 b0, b2 = b0, the later numerators 1 -2 1).
// Single-precision numbers written out to twelve decimals: the decimals past the seventh
// are the float's binary expansion, so what they carry is the float.
struct PrintedSet {
    int set;
    double numbers[7];
};
constexpr PrintedSet kPrinted[] = {
    {1,
     {0.97822111845, -1.978092432022, 0.978220880032, -1.983880996704, 0.984009921551, -1.993987917900,
      0.994117379189}},
    {2,
     {0.956915736198, -1.956405282021, 0.956913709641, -1.967764139175, 0.968275547028, -1.987753510475,
      0.988270103931}},
    {3,
     {0.915681064129, -1.913675069809, 0.915665686131, -1.935544133186, 0.937557458878, -1.974628806114,
      0.976682901382}},
};
constexpr int kPrintedAt[7] = {0, 4, 5, 10, 11, 16, 17};

// One unit in the last place of the float nearest x.
double floatUlp(double x)
{
    const float f = std::abs(static_cast<float>(x));
    return std::nextafter(f, 2.0f * f + 1.0f) - f;
}

constexpr double kRates[] = {44100.0, 48000.0, 88200.0, 96000.0, 192000.0};
} // namespace

TEST(HighpassSets, At44100HzTheDesignGivesTheStoredSetsToTheFloatTheyCarry)
{
    for (const PrintedSet& printed : kPrinted) {
        const vkHighpassTapArray taps = vkHighpassSet(printed.set, 44100.0);
        for (int i = 0; i < 7; ++i) {
            const double stored = printed.numbers[i];
            EXPECT_LE(std::abs(taps[kPrintedAt[i]] - stored), floatUlp(stored))
                << "set " << printed.set << " number " << i;
        }
        EXPECT_EQ(taps[1], -2.0 * taps[0]);
        EXPECT_EQ(taps[2], taps[0]);
        for (int s = 0; s < vkHighpassSections; ++s)
            EXPECT_EQ(taps[6 * s + 3], 1.0) << "a0 of section " << s;
        for (int s = 1; s < vkHighpassSections; ++s)
            EXPECT_EQ((std::array{taps[6 * s], taps[6 * s + 1], taps[6 * s + 2]}), (std::array{1.0, -2.0, 1.0}));
    }
}

// The corners stay where they are named at every rate the driver may run at.
TEST(HighpassSets, CornersAreThreeDecibelsDownAndThePassbandIsFlatAtEveryRate)
{
    for (const double rate : kRates) {
        for (int set = 1; set < vkHighpassSetCount; ++set) {
            SCOPED_TRACE(testing::Message() << "set " << set << " at " << rate << " Hz");
            const vkHighpassTapArray taps = vkHighpassSet(set, rate);
            const double corner = vkHighpassCorners[set];
            EXPECT_NEAR(toDb(cascadeMagnitude(taps.data(), vkHighpassSections, corner, rate)), -3.0103, 0.005);
            // Sixth order: 36 dB per octave below the corner.
            EXPECT_NEAR(toDb(cascadeMagnitude(taps.data(), vkHighpassSections, corner / 2, rate)), -36.1, 0.3);
            EXPECT_NEAR(toDb(cascadeMagnitude(taps.data(), vkHighpassSections, 8 * corner, rate)), 0.0, 1e-4);
        }
    }
}

// Set 0, an index out of range, and a corner the rate cannot hold give the pass-through
// exactly, never a filter with a corner past half the rate or a division by 0.
TEST(HighpassSets, WhatCannotBeAHighpassPassesThroughExactly)
{
    const std::pair<int, double> cases[] = {{0, 44100.0}, {0, 0.0},  {-1, 48000.0}, {vkHighpassSetCount, 48000.0},
                                            {1, 0.0},     {1, 160.0}, {3, 640.0}};
    for (const auto& [set, rate] : cases) {
        const vkHighpassTapArray taps = vkHighpassSet(set, rate);
        for (double f : {20.0, 80.0, 1000.0, 15000.0})
            EXPECT_EQ(cascadeMagnitude(taps.data(), vkHighpassSections, f, 44100.0), 1.0)
                << "set " << set << " at " << rate << " Hz";
    }
    // Just above twice the corner the design still applies.
    EXPECT_LT(cascadeMagnitude(vkHighpassSet(3, 700.0).data(), vkHighpassSections, 20.0, 700.0), 0.01);
}
