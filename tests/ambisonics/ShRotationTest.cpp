// Harmonic rotations: orthogonal blocks, Y(R d) = M Y(d), composition, and the meaning
// of yaw, pitch and roll.
#include "ambisonics/CShRotation.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace {

CRotation3 randomRotation(std::mt19937& rng)
{
    std::uniform_real_distribution<double> angle(-180.0, 180.0);
    return CRotation3::fromYawPitchRoll(angle(rng), angle(rng) / 2, angle(rng));
}

AmbiVector randomDirection(std::mt19937& rng)
{
    std::normal_distribution<double> g;
    return {g(rng), g(rng), g(rng)};
}

TEST(ShRotation, IsOrthogonalAndBlockDiagonal)
{
    std::mt19937 rng(22);
    for (int trial = 0; trial < 20; ++trial) {
        const CShRotation m(randomRotation(rng));
        for (int a = 0; a < 16; ++a)
            for (int b = 0; b < 16; ++b) {
                double dot = 0.0;
                for (int k = 0; k < 16; ++k) dot += m.at(a, k) * m.at(b, k);
                EXPECT_NEAR(dot, a == b ? 1.0 : 0.0, 1e-12);
                if (acnDegree(a) != acnDegree(b)) {
                    EXPECT_EQ(m.at(a, b), 0.0);
                }
            }
    }
}

TEST(ShRotation, RotatingTheHarmonicsOfADirectionGivesThoseOfTheRotatedDirection)
{
    std::mt19937 rng(7);
    for (int trial = 0; trial < 200; ++trial) {
        const CRotation3 r = randomRotation(rng);
        const AmbiVector d = randomDirection(rng);
        for (AmbiNorm norm : {AmbiNorm::kSn3d, AmbiNorm::kN3d}) {
            double y[16], rotated[16], expected[16];
            realSphericalHarmonics(d, 3, norm, y);
            CShRotation(r).apply(y, rotated, 3);
            realSphericalHarmonics(r.apply(d), 3, norm, expected);
            for (int c = 0; c < 16; ++c) ASSERT_NEAR(rotated[c], expected[c], 1e-12) << "trial " << trial << " ACN " << c;
        }
    }
}

TEST(ShRotation, OfAProductIsTheProductOfTheRotations)
{
    std::mt19937 rng(3);
    for (int trial = 0; trial < 20; ++trial) {
        const CRotation3 a = randomRotation(rng), b = randomRotation(rng);
        const CShRotation ma(a), mb(b), mab(a * b), mt(a.transpose());
        for (int i = 0; i < 16; ++i)
            for (int j = 0; j < 16; ++j) {
                double product = 0.0;
                for (int k = 0; k < 16; ++k) product += ma.at(i, k) * mb.at(k, j);
                EXPECT_NEAR(mab.at(i, j), product, 1e-12);
                EXPECT_NEAR(mt.at(i, j), ma.at(j, i), 1e-12); // inverse is the transpose
            }
    }
}

TEST(ShRotation, YawPitchAndRollTurnTheBodyLeftUpAndLeftSideUp)
{
    auto near = [](const AmbiVector& a, const AmbiVector& b) {
        return std::abs(a.x - b.x) < 1e-12 && std::abs(a.y - b.y) < 1e-12 && std::abs(a.z - b.z) < 1e-12;
    };
    const AmbiVector front{1, 0, 0}, left{0, 1, 0}, up{0, 0, 1};
    EXPECT_TRUE(near(CRotation3::fromYawPitchRoll(90, 0, 0).apply(front), left));
    EXPECT_TRUE(near(CRotation3::fromYawPitchRoll(0, 90, 0).apply(front), up));
    EXPECT_TRUE(near(CRotation3::fromYawPitchRoll(0, 0, 90).apply(left), up));
    // Upside down: left and up swap sign, the front stays.
    const CRotation3 flip = CRotation3::fromYawPitchRoll(0, 0, 180);
    EXPECT_TRUE(near(flip.apply(front), front));
    EXPECT_TRUE(near(flip.apply(up), {0, 0, -1}));
    // Yaw first, then pitch about the turned body's own left axis.
    EXPECT_TRUE(near(CRotation3::fromYawPitchRoll(90, 90, 0).apply(front), up));
    EXPECT_TRUE(near(CRotation3::fromYawPitchRoll(90, 45, 0).apply(front),
                     {0, std::sqrt(0.5), std::sqrt(0.5)}));

    // A yaw of 90 moves a frontal source's energy from X to Y in the harmonics.
    double y[16], rotated[16];
    realSphericalHarmonics(front, 3, AmbiNorm::kSn3d, y);
    CShRotation(CRotation3::fromYawPitchRoll(90, 0, 0)).apply(y, rotated, 3);
    EXPECT_NEAR(rotated[1], 1.0, 1e-12);
    EXPECT_NEAR(rotated[3], 0.0, 1e-12);
    const CShRotation identity;
    for (int i = 0; i < 16; ++i)
        for (int j = 0; j < 16; ++j) EXPECT_EQ(identity.at(i, j), i == j ? 1.0 : 0.0);
}

} // namespace
