// The map from covariances of analytic plane waves: a source from s gives the mode
// signals v_k(s) x(t) (the real harmonics of the decomposition), so the steered power at
// d is x^2 (sum_n (2n+1)/(4 pi) P_n(cos angle(d, s)))^2, an independent reference.
#include "soundmap/CSoundMap.h"

#include "array/CapsuleGeometry.h"
#include "beamformer/tables/EbfMatrix.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

namespace {

constexpr int kModes = 16;

struct Source {
    double theta;
    double phi;
    double power; // mean square of the source
};

// One period of uncorrelated sources, `frames` samples long.
ModeCovarianceFrame periodOf(const std::vector<Source>& sources, int frames = 4410)
{
    ModeCovarianceFrame f;
    f.frames = frames;
    for (const Source& s : sources)
        for (int i = 0; i < kModes; ++i)
            for (int j = i; j < kModes; ++j)
                f.sums[ModeCovarianceFrame::index(i, j)] +=
                    s.power * frames * ebfHarmonic(i, s.theta, s.phi) * ebfHarmonic(j, s.theta, s.phi);
    return f;
}

double cosAngle(double t1, double p1, double t2, double p2)
{
    const UnitVector a = unitVectorFromAngles(t1, p1), b = unitVectorFromAngles(t2, p2);
    return a.x * b.x + a.y * b.y + a.z * b.z;
}

// The order-3 maximum-directivity response to a unit plane wave, by Legendre polynomials.
double beamResponse(double c)
{
    const double p[4] = {1.0, c, 0.5 * (3 * c * c - 1), 0.5 * (5 * c * c * c - 3 * c)};
    double sum = 0.0;
    for (int n = 0; n < 4; ++n)
        sum += (2 * n + 1) * p[n];
    return sum / (4.0 * std::numbers::pi);
}

double angleBetween(double t1, double p1, double t2, double p2)
{
    return std::acos(std::clamp(cosAngle(t1, p1, t2, p2), -1.0, 1.0)) * 180.0 / std::numbers::pi;
}

TEST(SoundMap, SteeredPowerMatchesTheAnalyticBeamEverywhere)
{
    const Source s{70.0, 200.0, 0.25};
    CSoundMap map(5);
    map.update(periodOf({s}));
    ASSERT_FALSE(map.silent());
    const SoundMapGrid& g = map.grid();
    double worst = 0.0;
    const double peak = s.power * std::pow(beamResponse(1.0), 2);
    for (int r = 0; r < g.rows(); ++r)
        for (int c = 0; c < g.columns(); ++c) {
            const double want = s.power * std::pow(beamResponse(cosAngle(g.theta(r), g.phi(c), s.theta, s.phi)), 2);
            worst = std::max(worst, std::abs(map.power()[r * g.columns() + c] - want) / peak);
        }
    EXPECT_LT(worst, 1e-5); // single-precision map against the double reference
}

// At the poles, across the seam, and between grid points: the peak is the nearest point.
TEST(SoundMap, SinglePeakAtTheSourceAnywhereOnTheSphere)
{
    const Source cases[] = {{0.0, 0.0, 1.0}, {180.0, 0.0, 1.0}, {92.0, 358.0, 1.0}, {33.0, 121.0, 0.01}, {150.0, 2.0, 1.0}};
    for (const Source& s : cases) {
        for (auto method : {CSoundMap::kSteeredPower, CSoundMap::kMusic}) {
            CSoundMap map(5);
            map.setMethod(method);
            map.update(periodOf({s}));
            const auto peaks = map.peaks(4, 20.0f);
            ASSERT_GE(peaks.size(), 1u);
            EXPECT_LE(angleBetween(peaks[0].theta, peaks[0].phi, s.theta, s.phi), 3.6)
                << s.theta << " " << s.phi << " method " << method;
            if (method == CSoundMap::kMusic) {
                EXPECT_EQ(map.signalDimension(), 1);
            }
        }
    }
}

TEST(SoundMap, TwoSourcesTwoPeaksAndMusicIsSharper)
{
    const std::vector<Source> sources{{90.0, 40.0, 1.0}, {60.0, 220.0, 0.5}};
    CSoundMap srp(2), music(2);
    music.setMethod(CSoundMap::kMusic);
    srp.update(periodOf(sources));
    music.update(periodOf(sources));
    // Steered power leans towards the other source's side lobes unless the peaks are
    // placed on the map less the other's beam; MUSIC rates both sources alike (ceiling),
    // so peaks are matched to the nearest source.
    for (const CSoundMap* map : {&srp, &music}) {
        const auto peaks = map->peaks(2, 30.0f);
        ASSERT_EQ(peaks.size(), 2u);
        const double tolerance = 0.2;
        for (const Source& s : sources) {
            double nearest = 180.0;
            for (const SoundMapPeak& p : peaks)
                nearest = std::min(nearest, angleBetween(p.theta, p.phi, s.theta, s.phi));
            EXPECT_LE(nearest, tolerance);
        }
    }
    EXPECT_EQ(music.signalDimension(), 2);
    // Width of the main lobe along the equator: points within 3 dB of the peak.
    auto lobe = [](const CSoundMap& m) {
        const auto db = m.relativeDb(60.0f);
        const int row = m.grid().rowOf(90.0);
        int n = 0;
        for (int c = 0; c < m.grid().columns(); ++c)
            n += db[row * m.grid().columns() + c] > -3.0f;
        return n;
    };
    EXPECT_LT(lobe(music), lobe(srp) / 2);
}

// Silence: no peaks and nothing divided by zero; a full-scale source (the mean square of
// a full-scale sine over a long period) stays finite and exact.
TEST(SoundMap, SilenceAndAFullScaleSource)
{
    for (auto method : {CSoundMap::kSteeredPower, CSoundMap::kMusic}) {
        CSoundMap map;
        map.setMethod(method);
        map.update(ModeCovarianceFrame{}); // no samples: ignored
        ModeCovarianceFrame quiet;
        quiet.frames = 4410;
        map.update(quiet);
        EXPECT_TRUE(map.silent());
        EXPECT_TRUE(map.peaks(8, 40.0f).empty());
        for (float v : map.relativeDb(80.0f))
            ASSERT_EQ(v, -80.0f);

        map.update(periodOf({{45.0, 300.0, 0.5}}, 1 << 20));
        for (float v : map.power())
            ASSERT_TRUE(std::isfinite(v));
        const auto peaks = map.peaks(1, 10.0f);
        ASSERT_EQ(peaks.size(), 1u);
        EXPECT_NEAR(peaks[0].theta, 45.0, 0.01);
        EXPECT_NEAR(peaks[0].phi, 300.0, 0.01);
    }
}

// A moved source: with a smoothing of a few periods its peak follows within a dozen;
// averaged over the whole run, both positions stay on the map.
TEST(SoundMap, SmoothingFollowsAMovedSourceOrKeepsTheWholeRun)
{
    const Source before{90.0, 30.0, 1.0}, after{120.0, 270.0, 1.0};
    CSoundMap follow, whole;
    follow.setSmoothing(2.0);
    whole.setSmoothing(CSoundMap::kWholeRun);
    for (int p = 0; p < 12; ++p) {
        follow.update(periodOf({p < 6 ? before : after}));
        whole.update(periodOf({p < 6 ? before : after}));
    }
    const auto moved = follow.peaks(1, 10.0f);
    ASSERT_EQ(moved.size(), 1u);
    EXPECT_NEAR(moved[0].theta, 120.0, 0.1);
    EXPECT_NEAR(moved[0].phi, 270.0, 0.1);
    const auto both = whole.peaks(2, 3.0f);
    ASSERT_EQ(both.size(), 2u);
    EXPECT_NEAR(both[0].power, both[1].power, 1e-4f * both[0].power); // averaged evenly
}

} // namespace
