// Peaks on hand-made maps: the seam, the poles, plateaus, the range and the floor; the
// refinement between grid points on smooth bumps, and the lobes of the order-3 beam.
#include "soundmap/SoundMapPeaks.h"

#include "array/CapsuleGeometry.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <vector>

namespace {

struct Map {
    explicit Map(int step = 5, float background = 0.0f)
        : grid(step)
        , values(size_t(grid.points()), background)
    {
    }
    // Sets a point (a pole: its whole row).
    void set(int row, int column, float v)
    {
        if (row == 0 || row == grid.rows() - 1)
            for (int c = 0; c < grid.columns(); ++c)
                values[row * grid.columns() + c] = v;
        else
            values[row * grid.columns() + column] = v;
    }
    std::vector<SoundMapPeak> peaks(int n = 10, float range = 40.0f, float floor = 0.0f) const
    {
        return findSoundMapPeaks(grid, values.data(), n, range, floor);
    }
    SoundMapGrid grid;
    std::vector<float> values;
};

TEST(SoundMapPeaks, NeighboursWrapAcrossTheSeam)
{
    Map m;
    const int last = m.grid.columns() - 1;
    m.set(18, 0, 5.0f);
    m.set(18, last, 6.0f); // the higher neighbour of column 0 is across the seam
    m.set(10, last, 3.0f);
    const auto p = m.peaks();
    ASSERT_EQ(p.size(), 2u);
    EXPECT_DOUBLE_EQ(p[0].theta, 90.0);
    // Refined towards its neighbour across the seam, at most half a step, below 360.
    EXPECT_GT(p[0].phi, 355.0);
    EXPECT_LE(p[0].phi, 357.5);
    EXPECT_DOUBLE_EQ(p[1].theta, 50.0);
    EXPECT_DOUBLE_EQ(p[1].phi, 355.0);
}

TEST(SoundMapPeaks, PolesAreOnePointWithTheWholeNextRowAround)
{
    Map m;
    m.set(0, 0, 10.0f);
    m.set(m.grid.rows() - 1, 0, 2.0f);
    m.set(m.grid.rows() - 2, 17, 3.0f); // beats the south pole, which is then no peak
    const auto p = m.peaks();
    ASSERT_EQ(p.size(), 2u);
    EXPECT_DOUBLE_EQ(p[0].theta, 0.0);
    EXPECT_GT(p[1].theta, 175.0); // drawn towards the south pole by its parabola
    EXPECT_LE(p[1].theta, 177.5);
    EXPECT_DOUBLE_EQ(p[1].phi, 85.0);

    // A point next to a stronger pole is no peak.
    Map n;
    n.set(0, 0, 4.0f);
    n.set(1, 7, 3.0f);
    ASSERT_EQ(n.peaks().size(), 1u);
}

TEST(SoundMapPeaks, PlateauCountsOnceAndRangeFloorAndCountApply)
{
    Map m;
    m.set(9, 4, 10.0f);
    m.set(9, 5, 10.0f);
    m.set(30, 40, 0.5f * 10.0f); // 3 dB down
    m.set(20, 20, 0.05f * 10.0f); // 13 dB down
    m.set(25, 60, 1.5f);          // 8.2 dB down
    EXPECT_EQ(m.peaks(10, 40.0f).size(), 4u);
    EXPECT_EQ(m.peaks(10, 10.0f).size(), 3u);
    EXPECT_EQ(m.peaks(10, 5.0f).size(), 2u);
    EXPECT_EQ(m.peaks(1, 40.0f).size(), 1u);
    EXPECT_DOUBLE_EQ(m.peaks()[0].phi, 22.5); // counted once, refined to the plateau's middle
    EXPECT_TRUE(m.peaks(10, 40.0f, 10.0f).empty());

    Map flat(5, 1.0f);
    EXPECT_EQ(flat.peaks().size(), 1u); // an even map has its one maximum at the north pole
    Map silent;
    EXPECT_TRUE(silent.peaks().empty()); // nothing above the floor
}

double angleBetween(double t1, double p1, double t2, double p2)
{
    const UnitVector a = unitVectorFromAngles(t1, p1), b = unitVectorFromAngles(t2, p2);
    return std::acos(std::clamp(a.x * b.x + a.y * b.y + a.z * b.z, -1.0, 1.0)) * 180.0 / std::numbers::pi;
}

// The power pattern of the order-3 maximum-directivity beam, by Legendre polynomials.
double beamPower(double degrees)
{
    const double c = std::cos(degrees * std::numbers::pi / 180.0);
    const double b = (1.0 + 3.0 * c + 5.0 * 0.5 * (3 * c * c - 1) + 7.0 * 0.5 * (5 * c * c * c - 3 * c)) / 16.0;
    return b * b;
}

struct Bump {
    double theta;
    double phi;
    double power;
};

// Uncorrelated sources seen through the beam: their power patterns add.
Map beamMap(int step, const std::vector<Bump>& sources)
{
    Map m(step);
    for (int r = 0; r < m.grid.rows(); ++r)
        for (int c = 0; c < m.grid.columns(); ++c) {
            double sum = 0.0;
            for (const Bump& s : sources)
                sum += s.power * beamPower(angleBetween(m.grid.theta(r), m.grid.phi(c), s.theta, s.phi));
            m.values[r * m.grid.columns() + c] = float(sum);
        }
    return m;
}

TEST(SoundMapPeaks, OrderThreeBeamPatternAndLobes)
{
    const SoundMapBeam beam = SoundMapBeam::maximumDirectivity(3);
    for (double degrees = 0.0; degrees <= 180.0; degrees += 7.5)
        ASSERT_NEAR(beam.power(std::cos(degrees * std::numbers::pi / 180.0)), beamPower(degrees) / beamPower(0.0), 1e-12);
    // Nulls where P3 = P4; lobe tops by a scan of the reference pattern.
    ASSERT_EQ(beam.lobes().size(), 4u);
    const double ends[] = {54.8, 100.4, 145.3, 180.0}, tops[] = {0.0, 74.9, 123.2, 180.0};
    for (size_t i = 0; i < 4; ++i) {
        EXPECT_NEAR(beam.lobes()[i].endDegrees, ends[i], 0.1);
        EXPECT_NEAR(beam.lobes()[i].topDb, 10.0 * std::log10(beamPower(tops[i]) / beamPower(0.0)), 0.02);
    }
    EXPECT_NEAR(beam.levelDb(80.0), -15.67, 0.01);
    EXPECT_NEAR(beam.levelDb(170.0), -12.04, 0.01);
    // Order 1: the hypercardioid, null at 109.47 degrees, rear lobe at -6 dB.
    const SoundMapBeam first = SoundMapBeam::maximumDirectivity(1);
    EXPECT_NEAR(first.mainLobeDegrees(), 109.47, 0.02);
    EXPECT_NEAR(first.levelDb(150.0), -6.02, 0.01);
}

// Off the grid, near a pole, across the seam: the refined peak lands well within a step.
TEST(SoundMapPeaks, RefinedBetweenGridPointsInBothAngles)
{
    const Bump cases[] = {{63.7, 141.2, 1.0}, {96.4, 358.1, 1.0}, {2.3, 217.0, 1.0}, {178.1, 40.0, 1.0}, {11.6, 302.8, 1.0}};
    for (const Bump& b : cases)
        for (int step : {1, 3, 5}) {
            const Map m = beamMap(step, {b});
            const auto p = m.peaks(1, 10.0f);
            ASSERT_EQ(p.size(), 1u);
            EXPECT_LT(angleBetween(p[0].theta, p[0].phi, b.theta, b.phi), step == 1 ? 0.15 : 0.5)
                << b.theta << ", " << b.phi << " on a " << step << " degree grid";
            EXPECT_NEAR(p[0].power, beamPower(0.0), 0.02 * beamPower(0.0)); // the top, not the grid value
            EXPECT_GE(p[0].phi, 0.0);
            EXPECT_LT(p[0].phi, 360.0);
        }
}

// Three sources, the weakest 9 dB down and 90 degrees from the strongest: the side-lobe
// rings of the strong ones are no peaks, the weak source is one, and it is found where it
// is, not pulled 5 degrees aside by the slope of the strongest one's lobe.
TEST(SoundMapPeaks, SideLobesOfStrongerPeaksAreDropped)
{
    const std::vector<Bump> sources{{90.0, 30.0, 1.0}, {40.0, 200.0, 0.5}, {150.0, 300.0, 0.125}};
    const SoundMapBeam beam = SoundMapBeam::maximumDirectivity(3);
    const Map m = beamMap(2, sources);
    const auto all = m.peaks(20, 20.0f);
    EXPECT_GT(all.size(), 3u); // without the lobes: side lobes too
    const auto p = findSoundMapPeaks(m.grid, m.values.data(), 20, 20.0f, 0.0f, &beam, 3.0f);
    ASSERT_EQ(p.size(), 3u);
    for (size_t i = 0; i < 3; ++i)
        EXPECT_LT(angleBetween(p[i].theta, p[i].phi, sources[i].theta, sources[i].phi), 0.3) << i;
    // Only the kept peaks count against the limit.
    EXPECT_EQ(findSoundMapPeaks(m.grid, m.values.data(), 2, 20.0f, 0.0f, &beam).size(), 2u);
    // Inside the main lobe of a stronger peak, even a loud one is no source of its own.
    Map close;
    close.set(18, 10, 10.0f);
    close.set(18, 18, 9.0f); // 40 degrees along the equator
    ASSERT_EQ(close.peaks().size(), 2u);
    EXPECT_EQ(findSoundMapPeaks(close.grid, close.values.data(), 5, 20.0f, 0.0f, &beam).size(), 1u);
}

// A sharp peak (MUSIC-like, 1 / (eps + angle^2)) from a start a few degrees off: at the
// pole, beside it, across the seam; the power becomes the function's top.
TEST(SoundMapPeaks, PolishedOnAMapKnownEverywhere)
{
    const Bump cases[] = {{0.0, 0.0, 1.0}, {1.3, 250.0, 1.0}, {77.7, 359.6, 1.0}, {179.2, 33.0, 1.0}, {120.4, 181.9, 1.0}};
    for (const Bump& b : cases) {
        const auto sharp = [&](double theta, double phi) {
            const double a = angleBetween(theta, phi, b.theta, b.phi);
            return 1.0 / (0.01 + a * a);
        };
        const SoundMapPeak start{std::clamp(b.theta + 2.0, 0.0, 180.0), b.phi - 1.5, 0.0f};
        const SoundMapPeak p = polishSoundMapPeak(start, 5.0, sharp);
        EXPECT_LT(angleBetween(p.theta, p.phi, b.theta, b.phi), 0.02) << b.theta << ", " << b.phi;
        EXPECT_NEAR(p.power, 100.0f, 5.0f);
        EXPECT_GE(p.phi, 0.0);
        EXPECT_LT(p.phi, 360.0);
    }
}

} // namespace
