// The crossover pairs and the output equaliser that every pattern hands to its shadow
// filters, checked by their frequency responses.

#include "beamformer/CZircFactory.h"
#include "beamformer/CZrPattern.h"
#include "tests/beamformer/patternTestSupport.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

using patterntest::amplitude;

const CZrPattern& zr(const CZircFactory& f, int index)
{
    return *dynamic_cast<const CZrPattern*>(f.pattern(index));
}

bool symmetric(const float* taps, int length)
{
    for (int i = 0; i < length / 2; ++i)
        if (taps[i] != taps[length - 1 - i])
            return false;
    return true;
}

TEST(PatternSplitFilters, LowPassesHaveUnityGainAtZeroAndHalfGainAtTheirCrossover)
{
    const CZircFactory factory;
    for (int i = 0; i < kPatternCount; ++i) {
        const CZrPattern& p = zr(factory, i);
        SCOPED_TRACE(p.mName);
        const double crossoverHz =
            p.mCrossoverTaps == 37 ? 9000.0 : p.mCrossoverTaps == 55 ? 6000.0 : 8000.0;
        EXPECT_TRUE(symmetric(p.mLowCrossover, p.mCrossoverTaps));
        // Listed as 1.0003; the 37-tap design sums to 1.00023.
        EXPECT_NEAR(amplitude(p.mLowCrossover, p.mCrossoverTaps, 0.0), 1.0003, 1e-4);
        EXPECT_NEAR(amplitude(p.mLowCrossover, p.mCrossoverTaps, crossoverHz), 0.5, 1e-3);
    }
}

TEST(PatternSplitFilters, HighPassIsTheAttenuatedComplementOfTheLowPass)
{
    const CZircFactory factory;
    const double gain = std::pow(10.0, -6.0 / 20.0);
    for (int i = 0; i < kPatternCount; ++i) {
        const CZrPattern& p = zr(factory, i);
        const int c = p.mCrossoverTaps / 2;
        for (int k = 0; k < p.mCrossoverTaps; ++k) {
            const double delta = k == c ? 1.0 : 0.0;
            EXPECT_NEAR(p.mHighCrossover[k], gain * (delta - p.mLowCrossover[k]), 1e-7)
                << p.mName << " tap " << k;
        }
        // Well above the crossover the high-frequency branch runs at 0.5012.
        EXPECT_NEAR(amplitude(p.mHighCrossover, p.mCrossoverTaps, 20000.0), 0.5012, 5e-4);
    }
}

TEST(PatternSplitFilters, EqualiserRowsAreOneLinearPhaseFilterWithTheListedResponse)
{
    const CZircFactory factory;
    const vkPattern& first = *factory.pattern(0);
    ASSERT_TRUE(symmetric(first.eqRow(0), 31));
    const double hz[] = {100, 1000, 2000, 4000, 6000, 8000, 10000, 15000, 20000};
    const double db[] = {0.01, 0.11, 0.55, 2.39, 4.17, 4.95, 5.71, 7.93, 3.61};
    for (int k = 0; k < 9; ++k) {
        const double a = std::abs(amplitude(first.eqRow(0), 31, hz[k]));
        EXPECT_NEAR(20.0 * std::log10(a), db[k], 0.01) << hz[k] << " Hz";
    }
    for (int i = 0; i < kPatternCount; ++i) {
        const vkPattern& p = *factory.pattern(i);
        for (int r = 0; r < p.mNumParameters; ++r)
            for (int t = 0; t < 31; ++t)
                ASSERT_EQ(p.eqRow(r)[t], first.eqRow(0)[t]) << p.mName << " row " << r;
    }
}

} // namespace
