// The direction glides of the modal beamformer: speed, direction, wrap-round, the gains
// along the way, and the tracks that the high-frequency section reads.

#include "beamformer/CMbf.h"
#include "beamformer/CMbfGlide.h"
#include "beamformer/tables/MbfSteeringTables.h"

#include <gtest/gtest.h>

#include <atomic>
#include <vector>

namespace {
// Runs one glide axis over a table and records its gains and track sample by sample.
struct GlideRun {
    GlideRun(const float* table, int columns, bool wraps, int rows, int start)
        : glide(table, columns, wraps)
        , table(table)
        , columns(columns)
        , rows(rows)
    {
        EXPECT_EQ(glide.configure(rows, kBlock), 0);
        glide.settle(start);
        target.store(start);
    }

    // Runs `samples` samples in blocks of kBlock; appends to track and gains.
    void run(int samples)
    {
        std::vector<std::vector<float>> block(rows, std::vector<float>(kBlock));
        std::vector<float*> pointers;
        for (auto& row : block)
            pointers.push_back(row.data());
        while (samples > 0) {
            const int n = std::min(samples, kBlock);
            if (glide.runLazily(target, pointers.data(), n))
                glide.fillRest(pointers.data(), n);
            for (int s = 0; s < n; ++s) {
                track.push_back(glide.track()[s]);
                std::vector<float> g(rows);
                for (int r = 0; r < rows; ++r)
                    g[r] = block[r][s];
                gains.push_back(g);
            }
            samples -= n;
        }
    }

    float entry(int row, int column) const { return table[row * columns + column]; }

    static constexpr int kBlock = 160;
    CMbfGlide glide;
    const float* table;
    int columns;
    int rows;
    std::atomic<int> target{0};
    std::vector<int> track;
    std::vector<std::vector<float>> gains;
};

GlideRun polar(int start)
{
    return GlideRun(&kMbfElevation[0][0], kMbfElevationColumns, false, kMbfElevationRows, start);
}

GlideRun azimuth(int start)
{
    return GlideRun(&kMbfAzimuth[0][0], kMbfAzimuthColumns, true, kMbfAzimuthRows, start);
}
} // namespace

TEST(MbfGlide, OneDegreeTakesOneHundredSamplesAndEndsOnTheTableValue)
{
    GlideRun g = polar(90);
    g.target.store(91);
    g.run(150);
    for (int s = 0; s < 99; ++s)
        ASSERT_EQ(g.track[s], 90) << s;
    for (int s = 99; s < 150; ++s)
        ASSERT_EQ(g.track[s], 91) << s;
    // Sample i of the step lies (i + 1) / 100 of the way between the two columns, and
    // the last one is the new column exactly, so the steady state follows with no jump.
    for (int r = 0; r < g.rows; ++r) {
        const double from = g.entry(r, 90), to = g.entry(r, 91);
        for (int i = 0; i < 99; ++i)
            ASSERT_NEAR(g.gains[i][r], from + (to - from) * (i + 1) / 100.0, 2e-6) << r << " " << i;
        EXPECT_EQ(g.gains[99][r], g.entry(r, 91));
        EXPECT_EQ(g.gains[100][r], g.entry(r, 91));
    }
}

TEST(MbfGlide, HalfCircleTakesEighteenThousandSamplesOneDegreeAtATime)
{
    GlideRun up = polar(0);
    up.target.store(180);
    up.run(18100);
    EXPECT_EQ(up.track[17998], 179);
    EXPECT_EQ(up.track[17999], 180);
    for (int s = 0; s < 18000; ++s)
        ASSERT_EQ(up.track[s], (s + 1) / 100) << s;

    GlideRun down = polar(180);
    down.target.store(0);
    down.run(18000);
    for (int s = 0; s < 18000; ++s)
        ASSERT_EQ(down.track[s], 180 - (s + 1) / 100) << s;
}

TEST(MbfGlide, AzimuthTakesTheShorterWayRound)
{
    GlideRun across = azimuth(350);
    across.target.store(10);
    across.run(2100);
    std::vector<int> visited;
    for (int s = 99; s < 2000; s += 100)
        visited.push_back(across.track[s]);
    const std::vector<int> expected{351, 352, 353, 354, 355, 356, 357, 358, 359, 0,
                                    1,   2,   3,   4,   5,   6,   7,   8,   9,   10};
    EXPECT_EQ(visited, expected);
    EXPECT_EQ(across.track[2099], 10);
    // Crossing 0 interpolates between columns 359 and 0.
    for (int r = 0; r < across.rows; ++r)
        EXPECT_NEAR(across.gains[949][r], 0.5 * (across.entry(r, 359) + across.entry(r, 0)), 2e-6);

    GlideRun back = azimuth(10);
    back.target.store(350);
    back.run(2000);
    EXPECT_EQ(back.track[999], 0);
    EXPECT_EQ(back.track[1099], 359);
    EXPECT_EQ(back.track[1999], 350);

    // At exactly half a turn the sign of the difference decides.
    GlideRun half = azimuth(0);
    half.target.store(180);
    half.run(100);
    EXPECT_EQ(half.track[99], 1);
    GlideRun halfBack = azimuth(180);
    halfBack.target.store(0);
    halfBack.run(100);
    EXPECT_EQ(halfBack.track[99], 179);
}

TEST(MbfGlide, AStepOnceBegunRunsToItsEnd)
{
    // Taking the target back mid-step finishes the step and glides back, with no jump.
    GlideRun g = polar(40);
    g.target.store(41);
    g.run(50);
    g.target.store(40);
    g.run(250);
    EXPECT_EQ(g.track[99], 41);
    EXPECT_EQ(g.track[199], 40);
    for (size_t s = 1; s < g.gains.size(); ++s)
        for (int r = 0; r < g.rows; ++r)
            ASSERT_LE(std::abs(g.gains[s][r] - g.gains[s - 1][r]), 0.001f) << s;
}

namespace {
vkAudioInterface modes(int block)
{
    return vkAudioInterface::timeDomain(16, 44100.0f, block);
}
vkAudioInterface mono(int block)
{
    return vkAudioInterface::timeDomain(1, 44100.0f, block);
}
} // namespace

TEST(MbfGlide, ThetaAndPhiGlideTogetherAndTheTracksStayInRange)
{
    constexpr int kBlock = 256;
    CMbf mbf;
    ASSERT_EQ(mbf.setFormat(modes(kBlock), mono(kBlock)), 0);
    ASSERT_EQ(mbf.start(), 0);
    std::vector<float> silence(kBlock, 0.0f), out(kBlock);
    std::vector<float*> in(16, silence.data());
    float* o = out.data();

    mbf.setTheta(95.7f);  // 95
    mbf.setPhi(-20.0f);   // 340, 20 steps down through 359
    std::vector<int> theta, phi;
    for (int b = 0; b < 10; ++b) {
        ASSERT_EQ(mbf.process(in.data(), &o, kBlock), 0);
        for (int s = 0; s < kBlock; ++s) {
            theta.push_back(mbf.thetaTrack()[s]);
            phi.push_back(mbf.phiTrack()[s]);
            ASSERT_GE(phi.back(), 0);
            ASSERT_LT(phi.back(), 360);
        }
    }
    EXPECT_EQ(theta[98], 90);
    EXPECT_EQ(phi[98], 0);
    EXPECT_EQ(theta[99], 91);
    EXPECT_EQ(phi[99], 359);
    EXPECT_EQ(theta[499], 95);  // the shorter axis has arrived
    EXPECT_EQ(phi[499], 355);
    EXPECT_EQ(theta[1999], 95);
    EXPECT_EQ(phi[1998], 341);
    EXPECT_EQ(phi[1999], 340);  // the diagonal move ends with the longer axis
    EXPECT_EQ(mbf.thetaDegrees(), 95.7f);

    // Out-of-range requests: theta clamps, phi wraps (360 is 0).
    mbf.setTheta(400.0f);
    mbf.setPhi(360.0f);
    ASSERT_EQ(mbf.stop(), 0);
    ASSERT_EQ(mbf.start(), 0);
    ASSERT_EQ(mbf.process(in.data(), &o, kBlock), 0);
    EXPECT_EQ(mbf.thetaTrack()[0], 180);
    EXPECT_EQ(mbf.phiTrack()[0], 0);
}

TEST(MbfGlide, AfterStartTheFirstSampleUsesTheTarget)
{
    // Only mode (1, 0) carries signal, so the beam's output is its gain, cos(theta),
    // through an order-1 filter of one tap 1.
    constexpr int kBlock = 64;
    CMbf mbf;
    ASSERT_EQ(mbf.setFormat(modes(kBlock), mono(kBlock)), 0);
    const float one = 1.0f;
    const int lengths[4] = {0, 1, 0, 0};
    const float* taps[4] = {nullptr, &one, nullptr, nullptr};
    ASSERT_EQ(mbf.setOrderFilters(lengths, taps), 0);
    std::vector<float> zeros(kBlock, 0.0f), ones(kBlock, 1.0f), out(kBlock);
    std::vector<float*> in(16, zeros.data());
    in[2] = ones.data();
    float* o = out.data();

    mbf.setTheta(60.0f);
    mbf.setPhi(123.0f);
    ASSERT_EQ(mbf.start(), 0);
    ASSERT_EQ(mbf.process(in.data(), &o, kBlock), 0);
    EXPECT_EQ(mbf.thetaTrack()[0], 60);
    EXPECT_EQ(mbf.phiTrack()[0], 123);
    EXPECT_NEAR(out[0], 0.5f, 1e-6f);
    EXPECT_NEAR(out[kBlock - 1], 0.5f, 1e-6f);
}
