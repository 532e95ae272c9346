// Plane waves as ideal AmbiX encodings (SN3D harmonics of the direction times an
// impulse) through the whole decoder, designed from the KEMAR set resampled to 48 kHz,
// against the set's own responses for the same direction: 36 directions on the
// horizontal plane and 12 elsewhere, then the same with the head turned 30 degrees to
// the left, where every source must move 30 degrees to the right.

#include "binaural/CBinauralDecoder.h"
#include "binaural/CHrirSet.h"
#include "tests/binaural/EarCues.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <string>
#include <vector>

namespace {
constexpr double kRate = 48000.0;
constexpr int kBlock = 512;
constexpr int kFrames = 4 * kBlock;
constexpr double kItdToleranceSeconds = 60e-6;
constexpr double kIldToleranceDb = 3.0;

struct Direction {
    double azimuth;
    double elevation;
};

// 36 on the horizontal plane, 12 elsewhere; all measured in the KEMAR set, and so are
// their front/back mirrors and the same directions 30 degrees to the right.
std::vector<Direction> testDirections()
{
    std::vector<Direction> d;
    for (int az = 0; az < 360; az += 10)
        d.push_back({double(az), 0.0});
    const Direction others[] = {{30, -30}, {150, -30}, {240, -30}, {330, -30}, {0, 30},   {90, 30},
                                {180, 30}, {300, 30},  {40, 60},   {220, 60},  {60, 80},  {0, 90}};
    d.insert(d.end(), std::begin(others), std::end(others));
    return d;
}

std::string name(const Direction& d)
{
    return "azimuth " + std::to_string(int(d.azimuth)) + ", elevation " + std::to_string(int(d.elevation));
}

class BinauralPlaneWave : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        std::string message;
        ASSERT_EQ(sHrirs.load(CHrirSet::kDefaultPath, kRate, message), 0) << message;
        const vkAudioInterface in = vkAudioInterface::timeDomain(16, kRate, kBlock);
        const vkAudioInterface out = vkAudioInterface::timeDomain(2, kRate, kBlock);
        ASSERT_EQ(sDecoder.setFormat(in, out), 0);
        ASSERT_EQ(sDecoder.loadHrtf(CHrirSet::kDefaultPath, message), 0) << message;
    }

    // The measured responses' cues for a direction, which must be on the grid.
    static EarCues measured(const Direction& d)
    {
        const AmbiVector v = ambiVectorFromAngles(d.azimuth, d.elevation);
        const int m = sHrirs.nearest(v);
        const AmbiVector g = sHrirs.direction(m);
        EXPECT_GT(g.x * v.x + g.y * v.y + g.z * v.z, std::cos(0.5 * std::numbers::pi / 180.0)) << name(d);
        std::vector<float> l(sHrirs.response(m, 0), sHrirs.response(m, 0) + sHrirs.length());
        std::vector<float> r(sHrirs.response(m, 1), sHrirs.response(m, 1) + sHrirs.length());
        return measureEarCues(l, r, kRate);
    }

    // The decoder's ears for an impulse from `d` with the head turned by `yaw`.
    static EarCues rendered(const Direction& d, float yaw)
    {
        sDecoder.stop();
        EXPECT_TRUE(sDecoder.setHeadOrientation({yaw, 0.0f, 0.0f}));
        sDecoder.reset();
        sDecoder.start();
        double y[16];
        realSphericalHarmonics(ambiVectorFromAngles(d.azimuth, d.elevation), kAmbiMaxOrder, AmbiNorm::kSn3d, y);
        std::vector<std::vector<float>> in(16, std::vector<float>(kFrames, 0.0f));
        for (int c = 0; c < 16; ++c)
            in[c][0] = static_cast<float>(y[c]);
        std::vector<float> ears[2] = {std::vector<float>(kFrames), std::vector<float>(kFrames)};
        for (int at = 0; at < kFrames; at += kBlock) {
            float* i[16];
            for (int c = 0; c < 16; ++c)
                i[c] = in[c].data() + at;
            float* o[2] = {ears[0].data() + at, ears[1].data() + at};
            EXPECT_EQ(sDecoder.process(i, o, kBlock), 0);
        }
        return measureEarCues(ears[0], ears[1], kRate);
    }

    // Checks the rendered cues of `source` (head turned by `yaw`) against the measured
    // cues of `heard`, and the spectral cue against the front/back mirror of `heard`.
    static void expectCuesOf(const Direction& source, float yaw, const Direction& heard, int& frontBackChecked)
    {
        const EarCues r = rendered(source, yaw), h = measured(heard);
        EXPECT_NEAR(r.itdSeconds, h.itdSeconds, kItdToleranceSeconds) << name(source) << ", yaw " << yaw;
        EXPECT_NEAR(r.ildDb, h.ildDb, kIldToleranceDb) << name(source) << ", yaw " << yaw;
        // Front and back differ only away from the interaural axis: at least 25 degrees
        // from it, the mirror lies 50 degrees or more from the source.
        const double mirrorAzimuth = std::fmod(540.0 - heard.azimuth, 360.0);
        const double lateral = std::abs(std::cos(heard.azimuth * std::numbers::pi / 180.0))
                               * std::cos(heard.elevation * std::numbers::pi / 180.0);
        if (lateral < std::sin(25.0 * std::numbers::pi / 180.0))
            return;
        const EarCues mirror = measured({mirrorAzimuth, heard.elevation});
        EXPECT_LT(spectralDistanceDb(r, h), spectralDistanceDb(r, mirror))
            << name(source) << ", yaw " << yaw << ": nearer the front/back mirror's spectrum";
        ++frontBackChecked;
    }

    static CHrirSet sHrirs;
    static CBinauralDecoder sDecoder;
};

CHrirSet BinauralPlaneWave::sHrirs;
CBinauralDecoder BinauralPlaneWave::sDecoder;
} // namespace

TEST_F(BinauralPlaneWave, EachDirectionHasTheTimeLevelAndSpectralCuesOfItsMeasuredResponse)
{
    int frontBack = 0;
    for (const Direction& d : testDirections())
        expectCuesOf(d, 0.0f, d, frontBack);
    EXPECT_GE(frontBack, 30);
}

TEST_F(BinauralPlaneWave, AHeadTurnedThirtyDegreesLeftHearsEverySourceThirtyDegreesFurtherRight)
{
    int frontBack = 0;
    for (const Direction& d : testDirections())
        expectCuesOf(d, 30.0f, {std::fmod(d.azimuth + 330.0, 360.0), d.elevation}, frontBack);
    EXPECT_GE(frontBack, 30);
}
