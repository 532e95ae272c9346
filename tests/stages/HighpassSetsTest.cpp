#include "stages/vkHighpassSets.h"
#include "StageSignals.h"

#include <gtest/gtest.h>

using namespace stagetest;

// The stored numbers carry single-precision accuracy: they must agree with the design to
// a few units of float rounding, and the pass-through set must be exact.
TEST(HighpassSets, StoredSetsAgreeWithTheButterworthDesignAtFloatAccuracy)
{
    for (int set = 1; set < vkHighpassSetCount; ++set) {
        const vkHighpassTapArray design = vkDesignButterworthHighpass(vkHighpassCorners[set], 44100.0);
        for (int i = 0; i < vkHighpassTaps; ++i)
            EXPECT_NEAR(vkHighpassSets[set][i], design[i], 4e-7 * std::max(1.0, std::abs(design[i])))
                << "set " << set << " tap " << i;
    }
    for (double f : {20.0, 80.0, 1000.0, 15000.0})
        EXPECT_EQ(cascadeMagnitude(vkHighpassSets[0].data(), vkHighpassSections, f, 44100.0), 1.0);
}

TEST(HighpassSets, CornersAreThreeDecibelsDownAndThePassbandIsFlat)
{
    for (int set = 1; set < vkHighpassSetCount; ++set) {
        const double* taps = vkHighpassSets[set].data();
        const double corner = vkHighpassCorners[set];
        EXPECT_NEAR(toDb(cascadeMagnitude(taps, vkHighpassSections, corner, 44100.0)), -3.0103, 0.005);
        // Sixth order: 36 dB per octave below the corner.
        EXPECT_NEAR(toDb(cascadeMagnitude(taps, vkHighpassSections, corner / 2, 44100.0)), -36.1, 0.3);
        EXPECT_NEAR(toDb(cascadeMagnitude(taps, vkHighpassSections, 8 * corner, 44100.0)), 0.0, 1e-4);
    }
    // At 48 kHz the unadapted table puts the corner 48000/44100 higher.
    EXPECT_NEAR(toDb(cascadeMagnitude(vkHighpassSets[1].data(), vkHighpassSections, 80.0 * 48000 / 44100, 48000.0)),
                -3.0103, 0.005);
}
