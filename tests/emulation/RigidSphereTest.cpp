#include "emulation/CapsuleFilterDesign.h"
#include "emulation/RigidSphere.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <numbers>

namespace {
using cd = std::complex<double>;

// The textbook form: incident plus scattered wave, each series term written out with
// j_n, y_n and their derivatives by the standard recurrences, in the physics convention.
cd surfacePressureReference(double ka, double cosAngle)
{
    const auto j = [](int n, double x) { return std::sph_bessel(n, x); };
    const auto h = [](int n, double x) { return cd(std::sph_bessel(n, x), std::sph_neumann(n, x)); };
    const auto jd = [&](int n, double x) { return n / x * j(n, x) - j(n + 1, x); };
    const auto hd = [&](int n, double x) { return n / x * h(n, x) - h(n + 1, x); };
    cd sum = 0.0;
    for (int n = 0; n < 60; ++n) {
        const double pn = std::legendre(n, cosAngle);
        const cd term = j(n, ka) - jd(n, ka) / hd(n, ka) * h(n, ka);
        sum += (2.0 * n + 1.0) * std::pow(cd(0.0, -1.0), n) * term * pn;
    }
    return std::conj(sum);
}

double dB(double x) { return 20.0 * std::log10(x); }
} // namespace

TEST(RigidSphere, AgreesWithTheIncidentPlusScatteredSeries)
{
    for (double ka : {0.05, 0.5, 1.0, 3.0, 8.0, 15.0})
        for (double c : {1.0, 0.5, 0.0, -0.7, -1.0}) {
            const cd ours = rigid_sphere::surfacePressure(ka, c);
            const cd reference = surfacePressureReference(ka, c);
            EXPECT_NEAR(std::abs(ours - reference), 0.0, 1e-9 * std::max(1.0, std::abs(reference)))
                << "ka " << ka << " cos " << c;
        }
}

TEST(RigidSphere, IsTransparentWhenSmallAndDoublesThePressureFacingTheWave)
{
    // Small: the only effect left is the first-order phase lead of 1.5 ka cos(angle).
    const double ka = 1e-3;
    EXPECT_NEAR(std::abs(rigid_sphere::surfacePressure(ka, -1.0)), 1.0, 1e-5);
    EXPECT_NEAR(std::arg(rigid_sphere::surfacePressure(ka, 1.0)), 1.5 * ka, 1e-5);
    // Large: the facing point approaches +6 dB, the shadow falls well below the free field.
    EXPECT_NEAR(dB(std::abs(rigid_sphere::surfacePressure(30.0, 1.0))), 6.0, 0.5);
    EXPECT_LT(dB(std::abs(rigid_sphere::surfacePressure(30.0, -0.7))), -6.0);
}

TEST(CapsuleFilter, ReproducesTheSphereResponseUpToSixteenKilohertz)
{
    const double rate = 44100.0, radius = rigid_sphere::kDefaultRadius;
    for (double c : {1.0, 0.3, -1.0}) {
        const auto taps = capsule_filter::design(c, radius, rate);
        for (double f : {100.0, 1000.0, 4000.0, 10000.0, 16000.0}) {
            cd response = 0.0;
            for (int t = 0; t < capsule_filter::kTaps; ++t)
                response += double(taps[t]) * std::polar(1.0, -2.0 * std::numbers::pi * f * t / rate);
            // Take the bulk delay out and compare with the analytic value.
            response *= std::polar(1.0, 2.0 * std::numbers::pi * f * capsule_filter::kBulkDelay / rate);
            const double ka = 2.0 * std::numbers::pi * f * radius / rigid_sphere::kSpeedOfSound;
            const cd expected = rigid_sphere::surfacePressure(ka, c);
            EXPECT_NEAR(dB(std::abs(response)), dB(std::abs(expected)), 0.5) << "cos " << c << " f " << f;
            EXPECT_NEAR(std::arg(response / expected), 0.0, 0.1) << "cos " << c << " f " << f;
        }
    }
}

TEST(CapsuleFilter, TheFacingPointHearsTheWaveBeforeTheCentreAndTheRearAfter)
{
    const auto peak = [](double c) {
        const auto taps = capsule_filter::design(c, rigid_sphere::kDefaultRadius, 44100.0);
        int best = 0;
        for (int t = 0; t < capsule_filter::kTaps; ++t)
            if (std::abs(taps[t]) > std::abs(taps[best]))
                best = t;
        return best;
    };
    EXPECT_LT(peak(1.0), capsule_filter::kBulkDelay);
    EXPECT_GT(peak(-1.0), capsule_filter::kBulkDelay);
}
