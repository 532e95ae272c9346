// The head rotation of the 16 channels: at rest the output is the scene as the turned
// head hears it; a new orientation glides in linearly over one block; values that are
// not finite are ignored, and angles wrap.

#include "ambisonics/CShRotation.h"
#include "binaural/CHeadRotation.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace {
constexpr int kChannels = CHeadRotation::kChannels;
constexpr int kBlock = 64;

struct Block {
    std::vector<std::vector<float>> in, out;
    float* i[kChannels];
    float* o[kChannels];
    Block() : in(kChannels, std::vector<float>(kBlock)), out(kChannels, std::vector<float>(kBlock))
    {
        for (int c = 0; c < kChannels; ++c) {
            i[c] = in[c].data();
            o[c] = out[c].data();
        }
    }
    // A constant plane wave from (azimuth, elevation).
    void encode(double azimuth, double elevation)
    {
        double y[kChannels];
        realSphericalHarmonics(ambiVectorFromAngles(azimuth, elevation), kAmbiMaxOrder, AmbiNorm::kSn3d, y);
        for (int c = 0; c < kChannels; ++c)
            std::fill(in[c].begin(), in[c].end(), static_cast<float>(y[c]));
    }
    void run(CHeadRotation& r) { r.run(i, o, kBlock); }
};

void expectSample(const Block& b, int t, double azimuth, double elevation, const char* what)
{
    double y[kChannels];
    realSphericalHarmonics(ambiVectorFromAngles(azimuth, elevation), kAmbiMaxOrder, AmbiNorm::kSn3d, y);
    for (int c = 0; c < kChannels; ++c)
        EXPECT_NEAR(b.out[c][t], y[c], 2e-5) << what << ", channel " << c << ", sample " << t;
}
} // namespace

TEST(HeadRotation, AtRestTheSceneIsHeardFromTheTurnedHead)
{
    struct Case {
        CHeadOrientation head;
        double azimuth, elevation;      // a source in the scene
        double heardAz, heardEl;        // where the turned head hears it
    } cases[] = {
        {{30, 0, 0}, 0, 0, -30, 0},     // turned left: a source ahead is on the right
        {{30, 0, 0}, 100, 20, 70, 20},
        {{0, 30, 0}, 0, 0, 0, -30},     // looking up: ahead appears below
        {{0, 0, 90}, 90, 0, 0, -90},    // left ear lifted to the sky: the left is below the head
        {{-90, 0, 0}, 0, 45, 90, 45},
    };
    for (const Case& c : cases) {
        CHeadRotation r;
        ASSERT_TRUE(r.setOrientation(c.head));
        r.settle();
        Block b;
        b.encode(c.azimuth, c.elevation);
        b.run(r);
        expectSample(b, 0, c.heardAz, c.heardEl, "first sample");
        expectSample(b, kBlock - 1, c.heardAz, c.heardEl, "last sample");
    }
}

TEST(HeadRotation, ANewOrientationGlidesInLinearlyOverOneBlock)
{
    CHeadRotation r;
    Block b;
    b.encode(0.0, 0.0);
    b.run(r);
    expectSample(b, kBlock - 1, 0.0, 0.0, "at rest");
    ASSERT_TRUE(r.setOrientation({90.0f, 0.0f, 0.0f}));
    b.run(r);
    // X (ACN 3) goes from 1 to 0 and Y (ACN 1) from 0 to -1 in equal steps.
    for (int t = 0; t < kBlock; ++t) {
        const float g = float(t + 1) / kBlock;
        EXPECT_NEAR(b.out[3][t], 1.0f - g, 1e-5) << t;
        EXPECT_NEAR(b.out[1][t], -g, 1e-5) << t;
    }
    expectSample(b, kBlock - 1, -90.0, 0.0, "end of the glide");
    b.run(r);
    expectSample(b, 0, -90.0, 0.0, "the next block");
}

TEST(HeadRotation, ValuesThatAreNotFiniteAreIgnoredAndAnglesWrap)
{
    CHeadRotation r;
    ASSERT_TRUE(r.setOrientation({370.0f, -190.0f, 45.25f}));
    CHeadOrientation o = r.orientation();
    EXPECT_NEAR(o.yaw, 10.0f, 1e-3f);
    EXPECT_NEAR(o.pitch, 170.0f, 1e-3f);
    EXPECT_NEAR(o.roll, 45.25f, 1e-3f);
    EXPECT_FALSE(r.setOrientation({NAN, 0.0f, 0.0f}));
    EXPECT_FALSE(r.setOrientation({0.0f, INFINITY, 0.0f}));
    EXPECT_FALSE(r.setOrientation({0.0f, 0.0f, -INFINITY}));
    o = r.orientation();
    EXPECT_NEAR(o.yaw, 10.0f, 1e-3f);
    EXPECT_NEAR(o.pitch, 170.0f, 1e-3f);
    r.settle();
    Block b;
    b.encode(0.0, 0.0);
    b.run(r);
    for (int c = 0; c < kChannels; ++c)
        EXPECT_TRUE(std::isfinite(b.out[c][kBlock - 1]));
}
