// The steering tables and the beam the modal beamformer forms from them, against
// spherical harmonics and convolutions computed here in double precision.

#include "beamformer/CMbf.h"
#include "beamformer/CZircFactory.h"
#include "beamformer/tables/MbfSteeringTables.h"
#include "tests/support/AllocationCounter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <numbers>
#include <random>
#include <vector>

namespace {
constexpr double kDegree = std::numbers::pi / 180.0;

double factorial(int n)
{
    return std::tgamma(n + 1.0);
}

// sqrt((n-a)!/(n+a)!) P(n,a)(cos theta) with the Condon-Shortley phase, from the C++
// library's associated Legendre function (which has no such phase).
double elevation(int n, int a, double theta)
{
    const double sign = (a % 2) ? -1.0 : 1.0;
    return sign * std::sqrt(factorial(n - a) / factorial(n + a)) * std::assoc_legendre(n, a, std::cos(theta * kDegree));
}

// Steering gain of mode (n, m) towards (theta, phi).
double steeringGain(int n, int m, double theta, double phi)
{
    const int a = std::abs(m);
    if (m == 0)
        return elevation(n, 0, theta);
    return elevation(n, a, theta) * 2.0 * (m > 0 ? std::cos(m * phi * kDegree) : std::sin(a * phi * kDegree));
}

vkAudioInterface format(int channels, int block)
{
    return vkAudioInterface::timeDomain(channels, 44100.0f, block);
}
} // namespace

TEST(MbfTables, ElevationAndAzimuthRowsFollowTheHarmonics)
{
    for (int n = 0; n < 4; ++n)
        for (int m = -n; m <= n; ++m)
            for (int theta = 0; theta <= 180; ++theta)
                ASSERT_NEAR(kMbfElevation[n * n + n + m][theta], elevation(n, std::abs(m), theta), 2e-7)
                    << n << " " << m << " " << theta;
    for (int k = 1; k <= 3; ++k)
        for (int phi = 0; phi < 360; ++phi) {
            ASSERT_NEAR(kMbfAzimuth[2 * (k - 1)][phi], 2.0 * std::sin(k * phi * kDegree), 2e-7);
            ASSERT_NEAR(kMbfAzimuth[2 * k - 1][phi], 2.0 * std::cos(k * phi * kDegree), 2e-7);
        }
    // Values that identify the normalisation and the phase convention.
    EXPECT_NEAR(kMbfElevation[15][90], -0.559017f, 1e-6f);     // (3, 3) at the equator
    EXPECT_NEAR(kMbfElevation[3][45], -0.5f, 1e-6f);           // (1, 1): -sin(theta) / sqrt 2
    EXPECT_NEAR(kMbfElevation[6][0], 1.0f, 1e-7f);             // (2, 0) on the axis
    EXPECT_EQ(kMbfElevation[9][77], kMbfElevation[15][77]);     // rows +m and -m agree
}

namespace {
// A CMbf with one filter set, driven by random mode signals.
struct Beam {
    Beam(int block, float delay, const std::vector<std::vector<float>>& taps)
        : block(block)
        , filters(taps)
    {
        EXPECT_EQ(mbf.setFormat(format(16, block), format(1, block)), 0);
        EXPECT_EQ(mbf.setFilterDelay(delay), 0);
        int lengths[4];
        const float* rows[4];
        for (int n = 0; n < 4; ++n) {
            lengths[n] = static_cast<int>(filters[n].size());
            rows[n] = filters[n].empty() ? nullptr : filters[n].data();
        }
        EXPECT_EQ(mbf.setOrderFilters(lengths, rows), 0);
    }

    // Processes `input` (16 channels of equal length) in blocks of `chunk` samples.
    std::vector<float> run(const std::vector<std::vector<float>>& input, int chunk)
    {
        const int total = static_cast<int>(input[0].size());
        std::vector<float> out(total);
        std::vector<float*> in(16);
        for (int at = 0; at < total; at += chunk) {
            const int n = std::min(chunk, total - at);
            for (int k = 0; k < 16; ++k)
                in[k] = const_cast<float*>(input[k].data()) + at;
            float* o = out.data() + at;
            EXPECT_EQ(mbf.process(in.data(), &o, n), 0);
        }
        return out;
    }

    int block;
    std::vector<std::vector<float>> filters;
    CMbf mbf;
};

std::vector<std::vector<float>> randomModes(int samples, unsigned seed)
{
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> u(-1.0f, 1.0f);
    std::vector<std::vector<float>> modes(16, std::vector<float>(samples));
    for (auto& channel : modes)
        for (float& x : channel)
            x = u(rng);
    return modes;
}

// The beam in double precision: steered order sums, each convolved with its filter and
// delayed so that every order has the same latency, trunc(delay) samples.
std::vector<double> referenceBeam(const std::vector<std::vector<float>>& modes,
                                  const std::vector<std::vector<float>>& filters, int delay, double theta,
                                  double phi)
{
    const int samples = static_cast<int>(modes[0].size());
    std::vector<double> out(samples, 0.0);
    for (int n = 0; n < 4; ++n) {
        std::vector<double> order(samples, 0.0);
        for (int m = -n; m <= n; ++m) {
            const double g = steeringGain(n, m, theta, phi);
            for (int s = 0; s < samples; ++s)
                order[s] += g * modes[n * n + n + m][s];
        }
        const int length = static_cast<int>(filters[n].size());
        const int shift = delay - ((length - 1) >> 1);
        for (int s = 0; s < samples; ++s)
            for (int j = 0; j < length; ++j) {
                const int t = s - shift - j;
                if (t >= 0)
                    out[s] += filters[n][j] * order[t];
            }
    }
    return out;
}
} // namespace

namespace {
// The mode signals of a plane wave of unit amplitude from (theta, phi): sqrt((2n+1)/4pi)
// times the harmonic of the direction, which the steering sum turns into
// P_n(cos gamma), gamma the angle between beam and source (addition theorem).
std::vector<double> planeWave(double theta, double phi)
{
    std::vector<double> modes(16);
    for (int n = 0; n < 4; ++n)
        for (int m = -n; m <= n; ++m) {
            const double trig = m == 0 ? 1.0 : m > 0 ? std::cos(m * phi * kDegree) : std::sin(-m * phi * kDegree);
            modes[n * n + n + m] = std::sqrt((2 * n + 1) / (4.0 * std::numbers::pi)) * elevation(n, std::abs(m), theta) * trig;
        }
    return modes;
}

// The beam response sum a_n P_n(cos gamma) of plateau shape a.
double patternResponse(const double a[4], double beamTheta, double beamPhi, double theta, double phi)
{
    const double cosGamma = std::cos(beamTheta * kDegree) * std::cos(theta * kDegree)
                            + std::sin(beamTheta * kDegree) * std::sin(theta * kDegree) * std::cos((beamPhi - phi) * kDegree);
    double response = 0.0;
    for (int n = 0; n < 4; ++n)
        response += a[n] * std::legendre(n, cosGamma);
    return response;
}
} // namespace

TEST(MbfSteering, APlaneWaveIsHeardWithThePatternOfThePlateaus)
{
    // Order filters of one tap a_n sqrt(4 pi / (2n + 1)), the plateau of a pattern whose
    // response is sum a_n P_n: here the third-order cardioid.
    const double a[4] = {0.25, 0.45, 0.25, 0.05};
    std::vector<std::vector<float>> plateau(4);
    for (int n = 0; n < 4; ++n)
        plateau[n] = {static_cast<float>(a[n] * std::sqrt(4.0 * std::numbers::pi / (2 * n + 1)))};
    std::mt19937 rng(9);
    std::uniform_real_distribution<double> theta(0.0, 180.0), phi(0.0, 360.0);
    for (int trial = 0; trial < 20; ++trial) {
        const int beamTheta = static_cast<int>(theta(rng)), beamPhi = static_cast<int>(phi(rng));
        const double sourceTheta = theta(rng), sourcePhi = phi(rng);
        const auto wave = planeWave(sourceTheta, sourcePhi);
        std::vector<std::vector<float>> modes(16);
        for (int k = 0; k < 16; ++k)
            modes[k].assign(8, static_cast<float>(wave[k]));
        Beam beam(8, 0.0f, plateau);
        beam.mbf.setTheta(static_cast<float>(beamTheta));
        beam.mbf.setPhi(static_cast<float>(beamPhi));
        ASSERT_EQ(beam.mbf.start(), 0);
        const auto out = beam.run(modes, 8);
        EXPECT_NEAR(out[7], patternResponse(a, beamTheta, beamPhi, sourceTheta, sourcePhi), 2e-6)
            << beamTheta << " " << beamPhi << " " << sourceTheta << " " << sourcePhi;
    }
}

TEST(MbfSteering, EveryLibraryPatternFormsItsBeamAboveThreeKilohertz)
{
    // A 4410 Hz plane wave (ten samples a period) through each pattern's order filters
    // at its default parameter; above 3 kHz every row stands on its plateau, so the
    // beam's amplitude is |sum a_n P_n(cos gamma)| for the pattern's shape.
    const double shapes[kPatternCount][4] = {
        {1, 0, 0, 0}, {0.1753, 0.3822, 0.3177, 0.1247}, {0.2342, 0.4672, 0.2984, 0}, {0.3640, 0.6359, 0, 0},
        {1.0 / 16, 3.0 / 16, 5.0 / 16, 7.0 / 16}, {1.0 / 9, 3.0 / 9, 5.0 / 9, 0}, {0.25, 0.75, 0, 0},
        {0.25, 0.45, 0.25, 0.05}, {1.0 / 3, 0.5, 1.0 / 6, 0}, {0.5, 0.5, 0, 0}, {0, 1, 0, 0}, {2.0 / 3, 0, -2.0 / 3, 0}};
    constexpr int kBlock = 256;
    constexpr int kMeasured = 2000;
    const CZircFactory factory;
    ASSERT_EQ(factory.mNumPatterns, kPatternCount);
    const float delay = (factory.mMaxModalTaps - 1) / 2;
    const int settle = 2 * static_cast<int>(delay) + 1;
    const std::vector<std::pair<double, double>> sources{{60, 45}, {150, 45}, {120, 225}, {20, 300}, {90, 0}};
    for (int index = 0; index < kPatternCount; ++index) {
        const vkPattern& pattern = *factory.pattern(index);
        const int p = pattern.defaultParameter();
        std::vector<std::vector<float>> rows(4);
        for (int n = 0; n < 4; ++n)
            rows[n].assign(pattern.modalRow(p, n), pattern.modalRow(p, n) + pattern.modalLengths(p)[n]);
        for (const auto& [theta, phi] : sources) {
            const auto wave = planeWave(theta, phi);
            std::vector<std::vector<float>> modes(16, std::vector<float>(settle + kMeasured));
            for (int s = 0; s < settle + kMeasured; ++s) {
                const double x = std::sin(2.0 * std::numbers::pi * s / 10.0);
                for (int k = 0; k < 16; ++k)
                    modes[k][s] = static_cast<float>(wave[k] * x);
            }
            Beam beam(kBlock, delay, rows);
            beam.mbf.setTheta(60.0f);
            beam.mbf.setPhi(45.0f);
            ASSERT_EQ(beam.mbf.start(), 0);
            const auto out = beam.run(modes, kBlock);
            double c = 0.0, q = 0.0;
            for (int s = settle; s < settle + kMeasured; ++s) {
                c += out[s] * std::sin(2.0 * std::numbers::pi * s / 10.0);
                q += out[s] * std::cos(2.0 * std::numbers::pi * s / 10.0);
            }
            const double amplitude = 2.0 * std::hypot(c, q) / kMeasured;
            EXPECT_NEAR(amplitude, std::abs(patternResponse(shapes[index], 60, 45, theta, phi)), 0.01)
                << std::string(pattern.mName, strnlen(pattern.mName, sizeof pattern.mName)) << " from " << theta << " "
                << phi;
        }
    }
}

TEST(MbfSteering, TheBeamIsTheSteeredSumThroughOrderFiltersAlignedToTheFilterDelay)
{
    // Odd and even lengths, an all-zero row (skipped, with the same output) and an
    // order with no filter; trunc(6.5) = 6 allows up to 13 taps.
    std::mt19937 rng(11);
    std::uniform_real_distribution<float> u(-0.5f, 0.5f);
    std::vector<std::vector<float>> filters{std::vector<float>(13), std::vector<float>(4), std::vector<float>(9, 0.0f),
                                            {}};
    for (float& t : filters[0])
        t = u(rng);
    for (float& t : filters[1])
        t = u(rng);
    const auto modes = randomModes(700, 3);
    for (const auto& [theta, phi] : std::vector<std::pair<int, int>>{{70, 200}, {0, 45}, {180, 300}, {33, 359}}) {
        const auto ref = referenceBeam(modes, filters, 6, theta, phi);
        for (const int chunk : {1, 37, 128}) {
            Beam beam(128, 6.5f, filters);
            beam.mbf.setTheta(static_cast<float>(theta));
            beam.mbf.setPhi(static_cast<float>(phi));
            ASSERT_EQ(beam.mbf.start(), 0);
            const auto out = beam.run(modes, chunk);
            for (size_t s = 0; s < out.size(); ++s)
                ASSERT_NEAR(out[s], ref[s], 2e-5) << theta << " " << phi << " " << chunk << " " << s;
        }
    }
}

TEST(MbfSteering, ProcessDoesNotAllocateWhileSteering)
{
    const std::vector<std::vector<float>> unit(4, std::vector<float>(5, 0.2f));
    Beam beam(256, 2.0f, unit);
    ASSERT_EQ(beam.mbf.start(), 0);
    const auto modes = randomModes(256, 5);
    std::vector<float*> in(16);
    for (int k = 0; k < 16; ++k)
        in[k] = const_cast<float*>(modes[k].data());
    std::vector<float> out(256);
    float* o = out.data();
    AllocationCounter counter;
    for (int b = 0; b < 200; ++b) {
        beam.mbf.setTheta(static_cast<float>(b % 181));
        beam.mbf.setPhi(static_cast<float>(7 * b));
        ASSERT_EQ(beam.mbf.process(in.data(), &o, 256), 0);
    }
    EXPECT_EQ(counter.count(), 0u);
}

// Orders whose filter is all zero are skipped: neither their steering sum nor their
// filter runs, in the set heard and in the set fading in. A beam that does compute them
// (each row holds one tap of 1e-30, which adds nothing a float can hold) must sound the
// same through set changes in both directions, fades that overlap, and glides.
TEST(MbfSteering, ZeroRowsAreSkippedWithTheSameOutputThroughFadesAndGlides)
{
    std::mt19937 rng(17);
    std::uniform_real_distribution<float> u(-0.5f, 0.5f);
    std::vector<std::vector<float>> full(4, std::vector<float>(13));
    for (auto& row : full)
        for (float& t : row)
            t = u(rng);
    std::vector<std::vector<float>> skipped = full;
    for (int n : {2, 3})
        std::fill(skipped[n].begin(), skipped[n].end(), 0.0f);
    std::vector<std::vector<float>> computed = skipped;
    for (int n : {2, 3})
        computed[n][6] = 1e-30f;

    const auto load = [](CMbf& mbf, const std::vector<std::vector<float>>& set) {
        const int lengths[4] = {13, 13, 13, 13};
        const float* rows[4] = {set[0].data(), set[1].data(), set[2].data(), set[3].data()};
        ASSERT_EQ(mbf.setOrderFilters(lengths, rows), 0);
    };
    constexpr int kBlock = 300;
    const auto modes = randomModes(90000, 19);
    Beam a(kBlock, 6.0f, full);
    Beam b(kBlock, 6.0f, full);
    ASSERT_EQ(a.mbf.start(), 0);
    ASSERT_EQ(b.mbf.start(), 0);
    std::vector<float> outA(kBlock), outB(kBlock);
    std::vector<float*> in(16);
    for (int block = 0; block * kBlock < 90000; ++block) {
        // Low orders only, full again before that fade has ended, low again later.
        if (block == 3 || block == 40 || block == 150) {
            load(a.mbf, skipped);
            load(b.mbf, computed);
        }
        if (block == 20 || block == 100) {
            load(a.mbf, full);
            load(b.mbf, full);
        }
        if (block % 25 == 0)
            for (Beam* beam : {&a, &b}) {
                beam->mbf.setTheta(static_cast<float>((block * 37) % 181));
                beam->mbf.setPhi(static_cast<float>((block * 53) % 360));
            }
        for (int k = 0; k < 16; ++k)
            in[k] = const_cast<float*>(modes[k].data()) + block * kBlock;
        float* oa = outA.data();
        float* ob = outB.data();
        ASSERT_EQ(a.mbf.process(in.data(), &oa, kBlock), 0);
        ASSERT_EQ(b.mbf.process(in.data(), &ob, kBlock), 0);
        for (int s = 0; s < kBlock; ++s)
            ASSERT_NEAR(outA[s], outB[s], std::ldexp(std::fabs(outB[s]), -23) + 1e-20)
                << "block " << block << ", sample " << s;
    }
}
