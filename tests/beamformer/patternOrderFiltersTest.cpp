// The order filters of every pattern, measured by evaluating the stored FIRs directly:
// structure, plateaus, the blend of the family's plateaus below them, the frequencies at
// which the high orders come in, and the measured sample magnitudes.

#include "beamformer/CZircFactory.h"
#include "tests/beamformer/patternShapes.h"
#include "tests/beamformer/patternTestSupport.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

using namespace patterntest;

int orderOf(const Shape& a)
{
    int top = 0;
    for (int n = 0; n < 4; ++n)
        if (a[n] != 0.0)
            top = n;
    return top;
}

class PatternOrderFilters : public ::testing::Test {
protected:
    const CZircFactory factory;
    const vkPattern& pattern(int index) const { return *factory.pattern(index); }
};

TEST_F(PatternOrderFilters, RowsAreSymmetricAndZeroAboveThePatternsOrder)
{
    for (int i = 1; i < kPatternCount; ++i) {
        const vkPattern& p = pattern(i);
        const Shape a = shapeOf(i);
        for (int k = 0; k < p.mNumParameters; ++k)
            for (int n = 0; n < 4; ++n) {
                const float* row = p.modalRow(k, n);
                bool zero = true;
                for (int t = 0; t < 251; ++t) {
                    ASSERT_EQ(row[t], row[250 - t]) << p.mName << " p " << k << " n " << n;
                    zero = zero && row[t] == 0.0f;
                }
                // "dipole1" keeps an order-0 row below 500 Hz although a0 is 0.
                const bool used = a[n] != 0.0 || (i == kPatternDipole1 && n == 0);
                EXPECT_EQ(zero, !used) << p.mName << " p " << k << " n " << n;
            }
    }
}

TEST_F(PatternOrderFilters, EveryRowSitsOnItsPlateauFromThreeKilohertz)
{
    for (int i = 1; i < kPatternCount; ++i) {
        const vkPattern& p = pattern(i);
        const Shape a = shapeOf(i);
        for (int k = 0; k < p.mNumParameters; ++k)
            for (int n = 0; n <= orderOf(a); ++n) {
                const double h = plateau(a[n], n);
                // A zero plateau ("dipole1" order 0) is held to 0.1% of the beam's order 1.
                const double allowed = 1e-3 * (h != 0.0 ? std::abs(h) : plateau(a[1], 1));
                double worst = 0.0;
                for (double f = 3000.0; f <= 22050.0; f += 25.0)
                    worst = std::max(worst, std::abs(orderAmplitude(p, k, n, f) - h));
                EXPECT_LE(worst, allowed) << p.mName << " p " << k << " n " << n;
            }
    }
}

TEST_F(PatternOrderFilters, HighOrdersAndTheTorusHaveNoGainAtZeroHertz)
{
    for (int i = 1; i < kPatternCount; ++i) {
        const vkPattern& p = pattern(i);
        for (int k = 0; k < p.mNumParameters; ++k)
            for (int n = 0; n < 4; ++n) {
                if (n < 2 && i != kPatternTorus)
                    continue;
                double sum = 0.0;
                for (int t = 0; t < 251; ++t)
                    sum += p.modalRow(k, n)[t];
                EXPECT_NEAR(sum, 0.0, 1e-6) << p.mName << " p " << k << " n " << n;
            }
    }
}

// Weights w1/w2/w3 of the filter sets at 200, 300, 500, 700, 1000, 1400, 2000, 3000 Hz.
struct WeightRow {
    int index;
    int param;
    double w[8][3];
};

const WeightRow kWeights[] = {
    {kPatternCard3, 0, {{0.28, 0.55, 0.12}, {0.09, 0.59, 0.31}, {0.01, 0.19, 0.80}, {0.00, 0.01, 0.99},
                        {0.01, 0.01, 1.00}, {0.00, 0.00, 1.00}, {0.01, 0.01, 1.00}, {0.00, 0.00, 1.00}}},
    {kPatternCard3, 2, {{0.63, 0.32, 0.00}, {0.46, 0.51, 0.02}, {0.11, 0.66, 0.23}, {0.00, 0.34, 0.66},
                        {0.01, 0.01, 0.99}, {0.00, 0.00, 1.00}, {0.00, 0.00, 1.00}, {0.00, 0.00, 1.00}}},
    {kPatternCard3, 4, {{0.64, 0.31, 0.00}, {0.50, 0.49, 0.00}, {0.30, 0.70, 0.00}, {0.28, 0.72, 0.00},
                        {0.08, 0.64, 0.29}, {0.00, 0.09, 0.91}, {0.00, 0.00, 1.00}, {0.00, 0.00, 1.00}}},
    {kPatternHyper3, 0, {{0.63, 0.32, 0.00}, {0.44, 0.55, 0.02}, {0.07, 0.80, 0.12}, {0.00, 0.63, 0.37},
                         {0.00, 0.13, 0.88}, {0.00, 0.00, 1.00}, {0.00, 0.00, 1.00}, {0.00, 0.00, 1.00}}},
    {kPatternHyper3, 2, {{0.85, 0.08, 0.00}, {0.84, 0.15, 0.00}, {0.62, 0.38, 0.00}, {0.29, 0.69, 0.02},
                         {0.01, 0.78, 0.21}, {0.00, 0.33, 0.67}, {0.00, 0.00, 1.00}, {0.00, 0.00, 1.00}}},
    {kPatternHyper3, 4, {{0.85, 0.08, 0.00}, {0.86, 0.13, 0.00}, {0.81, 0.19, 0.00}, {0.84, 0.17, 0.00},
                         {0.71, 0.29, 0.00}, {0.33, 0.66, 0.00}, {0.00, 0.60, 0.40}, {0.00, 0.00, 1.00}}},
    {kPatternSuper3, 0, {{0.44, 0.48, 0.03}, {0.22, 0.67, 0.11}, {0.01, 0.50, 0.48}, {0.00, 0.11, 0.89},
                         {0.00, 0.01, 1.00}, {0.00, 0.00, 1.00}, {0.00, 0.00, 1.00}, {0.00, 0.00, 1.00}}},
    {kPatternSuper3, 2, {{0.78, 0.17, 0.00}, {0.69, 0.30, 0.00}, {0.32, 0.64, 0.04}, {0.04, 0.70, 0.26},
                         {0.00, 0.22, 0.79}, {0.00, 0.00, 1.00}, {0.00, 0.00, 1.00}, {0.00, 0.00, 1.00}}},
    {kPatternSuper3, 4, {{0.79, 0.16, 0.00}, {0.73, 0.27, 0.00}, {0.62, 0.38, 0.00}, {0.61, 0.39, 0.00},
                         {0.39, 0.60, 0.01}, {0.02, 0.55, 0.43}, {0.00, 0.01, 1.00}, {0.00, 0.00, 1.00}}},
};
const double kWeightHz[8] = {200, 300, 500, 700, 1000, 1400, 2000, 3000};

TEST_F(PatternOrderFilters, FilterSetsAreTheMeasuredBlendOfTheFamilysPlateaus)
{
    for (const WeightRow& r : kWeights) {
        const vkPattern& p = pattern(r.index);
        for (int j = 0; j < 8; ++j) {
            const auto w = blendWeights(p, r.param, kWeightHz[j], familyOf(r.index));
            for (int c = 0; c < 3; ++c)
                EXPECT_NEAR(w[c], r.w[j][c], 0.05)
                    << p.mName << " p " << r.param << " at " << kWeightHz[j] << " Hz, w" << c + 1;
        }
    }
}

TEST_F(PatternOrderFilters, BlendWeightsSumToOneFrom400HzAndSagBelow)
{
    for (int i = kPatternSuper3; i <= kPatternCard1; ++i) {
        const vkPattern& p = pattern(i);
        const Shape a = shapeOf(i);
        if (orderOf(a) < 3)
            continue;
        for (int k = 0; k < p.mNumParameters; ++k) {
            for (double f = 400.0; f <= 8000.0; f *= 1.1) {
                const auto w = blendWeights(p, k, f, familyOf(i));
                EXPECT_NEAR(w[0] + w[1] + w[2], 1.0, 0.006) << p.mName << " p " << k << " " << f;
                // The blend describes order 0 as well from here up.
                const auto fam = familyOf(i);
                const double blend0 = plateau(w[0] * fam[0][0] + w[1] * fam[1][0] + w[2] * fam[2][0], 0);
                EXPECT_NEAR(orderAmplitude(p, k, 0, f), blend0, 0.02) << p.mName << " p " << k << " " << f;
            }
            const auto w50 = blendWeights(p, k, 50.0, familyOf(i));
            const double sum50 = w50[0] + w50[1] + w50[2];
            EXPECT_GE(sum50, 0.80) << p.mName << " p " << k;
            EXPECT_LE(sum50, 0.86) << p.mName << " p " << k;
        }
    }
}

TEST_F(PatternOrderFilters, FirstOrderPatternsShowTheCommonLowFrequencySag)
{
    const double hz[] = {30, 50, 100, 200, 300, 400, 1000};
    const double gain[] = {0.85, 0.856, 0.882, 0.950, 0.993, 1.0, 1.0};
    for (int i : {kPatternCard1, kPatternHyper1, kPatternSuper1}) {
        const Shape a = shapeOf(i);
        for (int j = 0; j < 7; ++j)
            for (int n = 0; n < 2; ++n)
                EXPECT_NEAR(orderAmplitude(pattern(i), 0, n, hz[j]) / plateau(a[n], n), gain[j], 0.005)
                    << pattern(i).mName << " order " << n << " at " << hz[j] << " Hz";
    }
}

// Frequency at which a row reaches half its plateau, per "WNG" value.
struct HalfPlateau {
    int index;
    int order;
    double hz[5];
};

const HalfPlateau kHalfPlateau[] = {
    {kPatternCard3, 3, {380, 480, 630, 800, 1110}},   {kPatternCard3, 2, {200, 280, 390, 420, 770}},
    {kPatternCard2, 2, {160, 210, 280, 290, 300}},    {kPatternHyper3, 3, {780, 990, 1260, 1620, 2120}},
    {kPatternHyper3, 2, {180, 280, 430, 510, 990}},   {kPatternHyper2, 2, {270, 400, 570, 810, 1220}},
    {kPatternSuper3, 3, {510, 650, 840, 1090, 1440}}, {kPatternSuper3, 2, {200, 300, 430, 510, 930}},
    {kPatternSuper2, 2, {190, 280, 410, 480, 900}},
};

TEST_F(PatternOrderFilters, HighOrdersReachHalfTheirPlateauWhereMeasured)
{
    for (const HalfPlateau& h : kHalfPlateau) {
        const vkPattern& p = pattern(h.index);
        const double target = plateau(shapeOf(h.index)[h.order], h.order);
        for (int k = 0; k < 5; ++k) {
            const double f = halfPlateauFrequency(p, k, h.order, target);
            EXPECT_NEAR(f / h.hz[k], 1.0, 0.10) << p.mName << " order " << h.order << " p " << k;
        }
    }
}

// Measured magnitudes at 50, 100, 200, 500, 1000, 2000, 4000, 8000 Hz.
struct SampleRow {
    int index;
    int param;
    int order;
    double magnitude[8];
};

const SampleRow kSamples[] = {
    {kPatternCard3, 0, 0, {1.337, 1.328, 1.273, 0.946, 0.887, 0.887, 0.886, 0.886}},
    {kPatternCard3, 0, 1, {0.875, 0.900, 0.960, 0.942, 0.922, 0.922, 0.921, 0.921}},
    {kPatternCard3, 0, 2, {0.018, 0.066, 0.192, 0.366, 0.400, 0.398, 0.396, 0.397}},
    {kPatternCard3, 0, 3, {0.000, 0.002, 0.008, 0.053, 0.067, 0.067, 0.067, 0.067}},
    {kPatternCard3, 2, 0, {1.451, 1.472, 1.503, 1.174, 0.890, 0.887, 0.886, 0.886}},
    {kPatternCard3, 2, 1, {0.876, 0.903, 0.972, 0.999, 0.923, 0.922, 0.921, 0.921}},
    {kPatternCard3, 2, 2, {0.007, 0.026, 0.084, 0.266, 0.397, 0.397, 0.396, 0.397}},
    {kPatternCard3, 2, 3, {0.000, 0.000, 0.000, 0.016, 0.066, 0.067, 0.067, 0.067}},
    {kPatternCard3, 4, 0, {1.450, 1.472, 1.508, 1.357, 1.146, 0.888, 0.886, 0.887}},
    {kPatternCard3, 4, 1, {0.876, 0.903, 0.973, 1.023, 0.995, 0.922, 0.921, 0.921}},
    {kPatternCard3, 4, 2, {0.007, 0.026, 0.082, 0.184, 0.282, 0.397, 0.396, 0.396}},
    {kPatternCard3, 4, 3, {0.000, 0.000, 0.000, 0.000, 0.019, 0.067, 0.067, 0.067}},
    {kPatternCard1, 0, 0, {1.518, 1.563, 1.684, 1.772, 1.774, 1.773, 1.772, 1.773}},
    {kPatternCard1, 0, 1, {0.876, 0.903, 0.973, 1.023, 1.024, 1.024, 1.023, 1.023}},
    {kPatternTorus, 0, 0, {0.017, 0.063, 0.199, 0.769, 2.287, 2.365, 2.362, 2.364}},
    {kPatternTorus, 0, 2, {0.008, 0.028, 0.089, 0.344, 1.023, 1.058, 1.057, 1.057}},
    {kPatternDipole1, 0, 0, {0.618, 0.536, 0.296, 0.002, 0.001, 0.000, 0.000, 0.000}},
    {kPatternDipole1, 0, 1, {1.396, 1.496, 1.774, 2.048, 2.049, 2.048, 2.046, 2.047}},
};
const double kSampleHz[8] = {50, 100, 200, 500, 1000, 2000, 4000, 8000};

TEST_F(PatternOrderFilters, RowsMatchTheMeasuredMagnitudes)
{
    for (const SampleRow& s : kSamples) {
        const vkPattern& p = pattern(s.index);
        for (int j = 0; j < 8; ++j)
            EXPECT_NEAR(std::abs(orderAmplitude(p, s.param, s.order, kSampleHz[j])), s.magnitude[j], 0.05)
                << p.mName << " p " << s.param << " order " << s.order << " at " << kSampleHz[j] << " Hz";
    }
}

TEST_F(PatternOrderFilters, DipoleOrderZeroIsFlatAtZeroAbove500Hz)
{
    // Measured: 0.002 at 500 Hz, 0.001 at 1 kHz, 0.000 above.
    for (double f = 500.0; f <= 22050.0; f += 10.0)
        EXPECT_LT(std::abs(orderAmplitude(pattern(kPatternDipole1), 0, 0, f)), 0.0025) << f << " Hz";
}

} // namespace
