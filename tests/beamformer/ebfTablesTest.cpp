#include "array/CapsuleGeometry.h"
#include "beamformer/tables/EbfBiquads.h"
#include "beamformer/tables/EbfMatrix.h"
#include "beamformer/tables/EbfModeFilters.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <numbers>

namespace {

constexpr double kRate = 44100.0;

std::complex<double> unitDelay(double hz)
{
    return std::polar(1.0, -2.0 * std::numbers::pi * hz / kRate);
}

double cascadeDb(const EbfBiquadSet& set, int order, double hz)
{
    const std::complex<double> z1 = unitDelay(hz);
    std::complex<double> h = 1.0;
    for (int i = 0; i < set.numSections[order]; ++i) {
        const double* c = set.sections[order] + 6 * i;
        h *= (c[0] + c[1] * z1 + c[2] * z1 * z1) / (c[3] + c[4] * z1 + c[5] * z1 * z1);
    }
    return 20.0 * std::log10(std::abs(h));
}

double firMagnitude(int order, double hz)
{
    std::complex<double> h = 0.0, z = 1.0;
    for (int i = 0; i < kEbfModeFilterLengths[order]; ++i, z *= unitDelay(hz))
        h += double(kEbfModeFilters[order][i]) * z;
    return std::abs(h);
}

} // namespace

TEST(CapsuleGeometry, EveryCapsuleHasAPartnerOppositeIt)
{
    // The capsules sit on a centrally symmetric solid; a mistyped angle breaks a pair.
    for (int s = 0; s < kCapsuleCount; ++s) {
        const UnitVector a = capsuleUnitVector(s);
        double opposite = -1.0;
        for (int t = 0; t < kCapsuleCount; ++t) {
            const UnitVector b = capsuleUnitVector(t);
            opposite = std::max(opposite, -(a.x * b.x + a.y * b.y + a.z * b.z));
        }
        EXPECT_GT(opposite, std::cos(0.1 * std::numbers::pi / 180.0)) << "capsule " << s;
    }
}

TEST(EbfMatrix, HarmonicsAreOrthogonalWithTheRealPartNormalisation)
{
    // Gauss-Legendre in cos(theta) times an even azimuth grid integrates these exactly.
    const double x8[4] = {0.1834346424956498, 0.5255324099163290, 0.7966664774136267, 0.9602898564975363};
    const double w8[4] = {0.3626837833783620, 0.3137066458778873, 0.2223810344533745, 0.1012285362903763};
    double gram[16][16] = {};
    for (int i = 0; i < 8; ++i) {
        const double x = i < 4 ? x8[i] : -x8[i - 4], wt = w8[i % 4];
        const double theta = std::acos(x) * 180.0 / std::numbers::pi;
        for (int j = 0; j < 16; ++j) {
            const double phi = j * 360.0 / 16.0;
            for (int k = 0; k < 16; ++k)
                for (int l = 0; l < 16; ++l)
                    gram[k][l] += wt * (2.0 * std::numbers::pi / 16.0) * ebfHarmonic(k, theta, phi) *
                                  ebfHarmonic(l, theta, phi);
        }
    }
    for (int k = 0; k < 16; ++k)
        for (int l = 0; l < 16; ++l)
            EXPECT_NEAR(gram[k][l], k != l ? 0.0 : ebfMode(k).m == 0 ? 1.0 : 0.5, 1e-12) << k << "," << l;
}

TEST(EbfMatrix, NegativeDegreesTakeTheImaginaryPartWithTheCondonShortleyPhase)
{
    const double theta = 63.0, phi = 217.0, r = std::numbers::pi / 180.0;
    const double st = std::sin(theta * r);
    EXPECT_NEAR(ebfHarmonic(1, theta, phi), -std::sqrt(3.0 / (8.0 * std::numbers::pi)) * st * std::sin(phi * r), 1e-14);
    EXPECT_NEAR(ebfHarmonic(9, theta, phi),
                -std::sqrt(35.0 / (64.0 * std::numbers::pi)) * st * st * st * std::sin(3.0 * phi * r), 1e-14);
}

TEST(EbfMatrix, AgreesWithTheSampleEntries)
{
    const int rows[6] = {0, 2, 3, 7, 12, 15};
    const int capsules[6] = {0, 1, 2, 4, 12, 13};
    const double entries[6][6] = {
        {0.0088155, 0.0088155, 0.0088155, 0.0088155, 0.0088155, 0.0088155},
        {0.0054404, 0.0000015, -0.0054491, 0.0129872, 0.0142642, 0.0080305},
        {-0.0100880, -0.0091840, -0.0100857, -0.0056782, 0.0000000, 0.0000010},
        {-0.0080366, -0.0000020, 0.0080475, -0.0107983, 0.0000000, 0.0000011},
        {-0.0099468, -0.0000034, 0.0099541, 0.0061942, 0.0150313, -0.0100377},
        {-0.0109267, 0.0012039, -0.0109191, -0.0019485, -0.0000000, -0.0000026},
    };
    const EbfMatrix w = makeEbfMatrix();
    for (int r = 0; r < 6; ++r)
        for (int c = 0; c < 6; ++c)
            EXPECT_NEAR(w[rows[r]][capsules[c]], entries[r][c], 4e-6) << "row " << rows[r] << " capsule " << capsules[c];
}

TEST(EbfMatrix, OrderThreeRowsCarryTheirOwnGain)
{
    // Rows 9..15 are v/32 times these factors; angles rounded to 0.01 degree move them by
    // up to 1e-4.
    const double factors[7] = {0.97304, 1.02857, 1.01863, 1.01197, 0.96536, 0.97950, 1.02735};
    const EbfMatrix w = makeEbfMatrix();
    for (int k = 9; k < 16; ++k) {
        double num = 0.0, den = 0.0;
        for (int s = 0; s < kCapsuleCount; ++s) {
            const double v = ebfHarmonic(k, kCapsuleDirections[s].theta, kCapsuleDirections[s].phi) / 32.0;
            num += w[k][s] * v;
            den += v * v;
        }
        EXPECT_NEAR(num / den, factors[k - 9], 2e-4) << "row " << k;
    }
}

TEST(EbfBiquads, SetAHasTheModalEqualiserMagnitudes)
{
    const double hz[11] = {20, 50, 100, 200, 500, 1000, 2000, 4000, 8000, 16000, 20000};
    // Order 2 at 20 Hz computes 26.22 dB from these coefficients; the figure is rounded.
    const double db[4][11] = {
        {-12.9, -1.9, -0.4, 0.0, 0.6, 2.0, 5.3, 10.4, 16.9, 27.2, 35.4},
        {29.3, 32.5, 27.9, 22.2, 14.3, 8.6, 6.1, 10.2, 16.8, 27.2, 35.4},
        {26.1, 45.2, 52.3, 50.8, 35.7, 23.9, 12.6, 9.9, 16.6, 27.2, 35.4},
        {37.3, 56.3, 63.8, 70.0, 60.4, 42.6, 25.1, 11.2, 16.3, 27.1, 35.4},
    };
    for (int n = 0; n < 4; ++n)
        for (int i = 0; i < 11; ++i)
            EXPECT_NEAR(cascadeDb(kEbfBiquadsA, n, hz[i]), db[n][i], 0.2) << "order " << n << " at " << hz[i];
}

TEST(EbfModeFilters, MeetTheRequiredMagnitudes)
{
    struct Point {
        int order;
        double hz, magnitude, rounding;
    };
    const Point points[] = {
        {2, 50, 0.14, 0.005},  {2, 100, 0.62, 0.005}, {2, 200, 1.02, 0.005}, {2, 500, 1.00, 0.005},
        {3, 100, 0.005, 5e-4}, {3, 200, 0.08, 0.005}, {3, 300, 0.33, 0.005}, {3, 500, 0.93, 0.005},
        {3, 700, 1.00, 0.005},
    };
    for (const Point& p : points)
        EXPECT_NEAR(firMagnitude(p.order, p.hz), p.magnitude, p.rounding) << "order " << p.order << " at " << p.hz;
    // "1.00 from 500 (700) Hz up": flat to the rounding of the figure.
    for (double hz = 500.0; hz < kRate / 2; hz += 37.0)
        EXPECT_NEAR(firMagnitude(2, hz), 1.0, 0.005) << hz;
    for (double hz = 700.0; hz < kRate / 2; hz += 37.0)
        EXPECT_NEAR(firMagnitude(3, hz), 1.0, 0.005) << hz;
}
