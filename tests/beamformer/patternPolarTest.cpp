// Polar curves: the stored rows are the magnitude of the beam formed by the stored order
// filters, relative to its largest magnitude at each frequency, averaged over 850 Hz to
// 3 kHz (the band where the beam's shape still changes with frequency); they follow the
// ideal shapes and the measured samples.
//
// Tolerances. The measured figures have four decimals (two for the departures, whole
// degrees for the widths). In the main lobe the curves of the filters agree with them to
// 0.01. Near the nulls and at the rear the measured curves sit up to 0.035 higher: the
// real beam does not cancel as completely as the beam of the filters alone, which is all
// the curves are made from. So main-lobe samples get 0.01 and all others 0.04.

#include "beamformer/CZircFactory.h"
#include "tests/beamformer/patternShapes.h"
#include "tests/beamformer/patternTestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace {

using namespace patterntest;

class PatternPolar : public ::testing::Test {
protected:
    const CZircFactory factory;
    const vkPattern& pattern(int index) const { return *factory.pattern(index); }
    // Entry at gamma degrees (a multiple of 5) of row p.
    static double at(const vkPattern& pat, int p, int degrees) { return pat.polarRow(p)[degrees / 5]; }
};

// The documented definition, evaluated independently of the design program: at each
// frequency the beam of the stored order filters against the angle off its axis, scaled
// by its largest magnitude; then the mean over 850 Hz to 3 kHz in 5 Hz steps.
std::vector<double> polarFromFilters(const vkPattern& p, int param)
{
    std::vector<double> mean(37, 0.0);
    for (double f = 850.0; f <= 3000.0; f += 5.0) {
        double order[4];
        for (int n = 0; n < 4; ++n) {
            const int length = p.modalLengths(param)[n];
            order[n] = length > 0 ? amplitude(p.modalRow(param, n), length, f) *
                                        std::sqrt((2 * n + 1) / (4 * kPi))
                                  : 0.0;
        }
        double mag[37];
        for (int i = 0; i < 37; ++i) {
            const double x = std::cos(5.0 * i * kPi / 180.0);
            mag[i] = 0.0;
            for (int n = 0; n < 4; ++n)
                mag[i] += order[n] * legendre(n, x);
            mag[i] = std::abs(mag[i]);
        }
        const double peak = *std::max_element(mag, mag + 37);
        for (int i = 0; i < 37; ++i)
            mean[i] += mag[i] / peak;
    }
    const double top = *std::max_element(mean.begin(), mean.end());
    for (double& m : mean)
        m /= top;
    return mean;
}

TEST_F(PatternPolar, RowsAreSymmetricWithLargestEntryOne)
{
    for (int i = 0; i < kPatternCount; ++i) {
        const vkPattern& p = pattern(i);
        for (int k = 0; k < p.mNumParameters; ++k) {
            const float* row = p.polarRow(k);
            EXPECT_EQ(*std::max_element(row, row + 73), 1.0f) << p.mName;
            if (i != kPatternTorus) {
                EXPECT_EQ(row[0], 1.0f) << p.mName << " p " << k; // the axis is the loudest
            }
            for (int e = 0; e < 73; ++e)
                ASSERT_EQ(row[e], row[72 - e]) << p.mName << " p " << k << " entry " << e;
        }
    }
    EXPECT_EQ(at(pattern(kPatternTorus), 0, 90), 1.0f);
}

TEST_F(PatternPolar, RowsAreTheAveragedBeamOfTheStoredFilters)
{
    for (int i = 0; i < kPatternCount; ++i) {
        const vkPattern& p = pattern(i);
        for (int k = 0; k < p.mNumParameters; ++k) {
            const std::vector<double> reference = polarFromFilters(p, k);
            for (int e = 0; e < 37; ++e)
                EXPECT_NEAR(p.polarRow(k)[e], reference[e], 1e-5) << p.mName << " p " << k << " entry " << e;
        }
    }
}

// Largest departure of row p from |sum a_n P_n(cos gamma)| (scaled to a largest value of 1).
double departure(const vkPattern& p, int index, int param)
{
    const Shape a = shapeOf(index);
    double peak = 0.0;
    for (int e = 0; e <= 36; ++e)
        peak = std::max(peak, std::abs(idealBeam(a, 5.0 * e)));
    double worst = 0.0;
    for (int e = 0; e <= 36; ++e)
        worst = std::max(worst, std::abs(p.polarRow(param)[e] - std::abs(idealBeam(a, 5.0 * e)) / peak));
    return worst;
}

// Low frequencies, where the beam has a lower order, count in the broader rows. The
// measured largest departures over a pattern's rows are 0.06 for "super3", 0.08 for
// "hyper2" and 0.24 for "hyper3" (from 0.07 at -12 up to that at 12), 0.12 for the ring
// and at most 0.03 elsewhere. The three values lie at 55 to 70 degrees, by the first null,
// hence 0.02 on them (two decimals and the main-lobe agreement).
TEST_F(PatternPolar, RowsDepartFromTheIdealShapeAsMeasured)
{
    for (int i = 0; i < kPatternCount; ++i) {
        const vkPattern& p = pattern(i);
        double worst = 0.0;
        for (int k = 0; k < p.mNumParameters; ++k) {
            const double d = departure(p, i, k);
            if (i == kPatternHyper3 && k > 0) {
                EXPECT_GT(d, departure(p, i, k - 1)) << "hyper3 p " << k;
            }
            worst = std::max(worst, d);
        }
        switch (i) {
        case kPatternSuper3: EXPECT_NEAR(worst, 0.06, 0.02); break;
        case kPatternHyper2: EXPECT_NEAR(worst, 0.08, 0.02); break;
        case kPatternHyper3:
            EXPECT_NEAR(worst, 0.24, 0.02);
            EXPECT_LE(departure(p, i, 0), 0.07);
            break;
        case kPatternTorus: EXPECT_LE(worst, 0.12); break;
        default: EXPECT_LE(worst, 0.03) << p.mName;
        }
    }
}

// Measured entries at value 0, at 0, 45, 90, 135 and 180 degrees.
struct PolarSample {
    int index;
    double value[5];
};

const PolarSample kSamples[] = {
    {kPatternOmni, {0.9999, 0.9999, 0.9999, 0.9998, 1.0000}},
    {kPatternSuper3, {1.0000, 0.5145, 0.0361, 0.0217, 0.0086}},
    {kPatternSuper2, {1.0000, 0.6413, 0.0944, 0.0267, 0.0777}},
    {kPatternSuper1, {1.0000, 0.8142, 0.3646, 0.0849, 0.2706}},
    {kPatternHyper3, {1.0000, 0.2509, 0.1081, 0.0799, 0.2092}},
    {kPatternHyper2, {1.0000, 0.4866, 0.1674, 0.0250, 0.3367}},
    {kPatternHyper1, {1.0000, 0.7808, 0.2505, 0.2798, 0.4989}},
    {kPatternCard3, {1.0000, 0.6282, 0.1325, 0.0129, 0.0206}},
    {kPatternCard2, {1.0000, 0.7305, 0.2546, 0.0216, 0.0265}},
    {kPatternCard1, {1.0000, 0.8540, 0.5007, 0.1475, 0.0035}},
    {kPatternDipole1, {1.0000, 0.7075, 0.0001, 0.7076, 1.0000}},
    {kPatternTorus, {0.1187, 0.5117, 1.0000, 0.5117, 0.1189}},
};

TEST_F(PatternPolar, RowsMatchTheMeasuredSamples)
{
    for (const PolarSample& s : kSamples) {
        const vkPattern& p = pattern(s.index);
        const int param = p.defaultParameter();
        for (int j = 0; j < 5; ++j) {
            // The main lobe: 45 degrees of every beam, 90 degrees of the ring. The stored
            // ring is ideal, 0 on its axis, where the measured one is 0.12.
            const bool ring = s.index == kPatternTorus;
            const bool mainLobe = j == (ring ? 2 : 1);
            const double tolerance = ring && (j == 0 || j == 4) ? 0.12 : mainLobe ? 0.01 : 0.04;
            EXPECT_NEAR(at(p, param, 45 * j), s.value[j], tolerance) << p.mName << " at " << 45 * j;
        }
    }
}

TEST_F(PatternPolar, Hyper3RowsMatchTheMeasuredSamplesAtEveryValue)
{
    const double samples[5][7] = {
        {1.0000, 0.5666, 0.1034, 0.0980, 0.1255, 0.0437, 0.2463},
        {1.0000, 0.5747, 0.1000, 0.1011, 0.1174, 0.0434, 0.2267},
        {1.0000, 0.5933, 0.1002, 0.1081, 0.1052, 0.0513, 0.2092},
        {1.0000, 0.6257, 0.1200, 0.1107, 0.0979, 0.0600, 0.1942},
        {1.0000, 0.6911, 0.1912, 0.1065, 0.0898, 0.0776, 0.1537},
    };
    const vkPattern& p = pattern(kPatternHyper3);
    for (int k = 0; k < 5; ++k)
        for (int j = 0; j < 7; ++j) // 30 degrees is in the main lobe
            EXPECT_NEAR(at(p, k, 30 * j), samples[k][j], j == 1 ? 0.01 : 0.04) << "p " << k << " at " << 30 * j;
}

// Full width between the -3 dB points of a row, by linear interpolation.
double widthOf(const float* row)
{
    const double level = row[0] / std::sqrt(2.0);
    for (int e = 1; e <= 36; ++e)
        if (row[e] < level)
            return 2.0 * 5.0 * (e - 1 + (row[e - 1] - level) / (row[e - 1] - row[e]));
    return 360.0;
}

TEST_F(PatternPolar, StoredBeamWidthsAgreeWithThePolarRows)
{
    for (int i = 0; i < kPatternCount; ++i) {
        const vkPattern& p = pattern(i);
        for (int k = 0; k < p.mNumParameters; ++k) {
            const float* row = p.polarRow(k);
            // No beam: the axis is quiet (the ring), or nothing falls by 3 dB (omni).
            const double measured = row[0] < 0.5f ? 360.0 : widthOf(row);
            // The stored widths are whole degrees within 1 degree of the measured curves'
            // widths, except "hyper3" at 12, whose measured curve is 58 degrees wide
            // against the stored 61.
            const double curveWidth = i == kPatternHyper3 && k == 4 ? 58.0 : p.mBeamWidth[k];
            EXPECT_NEAR(measured, curveWidth, 1.5) << p.mName << " p " << k;
        }
    }
}

} // namespace
