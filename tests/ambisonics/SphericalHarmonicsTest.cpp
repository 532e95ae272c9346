// The real harmonics against closed forms, their orthonormality over the sphere, and the
// AmbiX signs.
#include "ambisonics/SphericalHarmonics.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <vector>

namespace {

constexpr double kPi = std::numbers::pi;
constexpr double kRad = kPi / 180.0;

// Closed forms of the SN3D harmonics (AmbiX, no Condon-Shortley phase), from azimuth a and
// elevation e in radians, written independently of the recurrences.
std::vector<double> closedFormSn3d(double a, double e)
{
    const double c = std::cos(e), s = std::sin(e);
    const double r3 = std::sqrt(3.0), r5_8 = std::sqrt(5.0 / 8.0), r15 = std::sqrt(15.0),
                 r3_8 = std::sqrt(3.0 / 8.0);
    return {
        1.0,
        std::sin(a) * c,
        s,
        std::cos(a) * c,
        r3 / 2 * std::sin(2 * a) * c * c,
        r3 / 2 * std::sin(a) * std::sin(2 * e),
        (3 * s * s - 1) / 2,
        r3 / 2 * std::cos(a) * std::sin(2 * e),
        r3 / 2 * std::cos(2 * a) * c * c,
        r5_8 * std::sin(3 * a) * c * c * c,
        r15 / 2 * std::sin(2 * a) * s * c * c,
        r3_8 * std::sin(a) * c * (5 * s * s - 1),
        s * (5 * s * s - 3) / 2,
        r3_8 * std::cos(a) * c * (5 * s * s - 1),
        r15 / 2 * std::cos(2 * a) * s * c * c,
        r5_8 * std::cos(3 * a) * c * c * c,
    };
}

TEST(SphericalHarmonics, MatchTheClosedFormsEverywhereIncludingPolesAndSeam)
{
    const double elevations[] = {-90, -89.9, -45, -10, 0, 17, 60, 89.99, 90};
    const double azimuths[] = {0, 0.001, 45, 90, 135, 180, 225, 270, 359.999, 360, -30};
    for (double el : elevations) {
        for (double az : azimuths) {
            double y[kAmbiMaxChannels];
            realSphericalHarmonics(ambiVectorFromAngles(az, el), 3, AmbiNorm::kSn3d, y);
            const std::vector<double> expected = closedFormSn3d(az * kRad, el * kRad);
            for (int c = 0; c < kAmbiMaxChannels; ++c)
                EXPECT_NEAR(y[c], expected[c], 1e-12) << "ACN " << c << " az " << az << " el " << el;
        }
    }
}

TEST(SphericalHarmonics, LowerOrdersAreThePrefixAndTheLengthOfTheVectorDoesNotCount)
{
    const AmbiVector d{0.3, -0.7, 0.2};
    double full[kAmbiMaxChannels], part[kAmbiMaxChannels], scaled[kAmbiMaxChannels];
    realSphericalHarmonics(d, 3, AmbiNorm::kN3d, full);
    realSphericalHarmonics({3.0, -7.0, 2.0}, 3, AmbiNorm::kN3d, scaled);
    for (int order = 0; order <= 3; ++order) {
        for (double& v : part) v = 99.0;
        realSphericalHarmonics(d, order, AmbiNorm::kN3d, part);
        for (int c = 0; c < ambiChannelCount(order); ++c) EXPECT_NEAR(part[c], full[c], 1e-14);
        EXPECT_EQ(part[ambiChannelCount(order) % kAmbiMaxChannels], order == 3 ? full[0] : 99.0);
    }
    for (int c = 0; c < kAmbiMaxChannels; ++c) EXPECT_NEAR(scaled[c], full[c], 1e-13);
    realSphericalHarmonics({0, 0, 0}, 3, AmbiNorm::kSn3d, part);
    EXPECT_EQ(part[0], 1.0);
    for (int c = 1; c < kAmbiMaxChannels; ++c) EXPECT_EQ(part[c], 0.0);
}

// Gauss-Legendre in sin(elevation) times a uniform azimuth grid integrates every product
// of two order-3 harmonics (degree 6 polynomials) exactly.
TEST(SphericalHarmonics, N3dIsOrthonormalAndSn3dIsScaledPerDegree)
{
    const double nodes[4] = {-0.8611363115940526, -0.3399810435848563, 0.3399810435848563,
                             0.8611363115940526};
    const double weights[4] = {0.3478548451374538, 0.6521451548625461, 0.6521451548625461,
                               0.3478548451374538};
    constexpr int kAzimuths = 8;
    double gramN3d[16][16] = {}, gramSn3d[16][16] = {};
    for (int i = 0; i < 4; ++i) {
        for (int k = 0; k < kAzimuths; ++k) {
            const double el = std::asin(nodes[i]) / kRad, az = 360.0 * k / kAzimuths + 10.0;
            double n3d[16], sn3d[16];
            realSphericalHarmonics(ambiVectorFromAngles(az, el), 3, AmbiNorm::kN3d, n3d);
            realSphericalHarmonics(ambiVectorFromAngles(az, el), 3, AmbiNorm::kSn3d, sn3d);
            const double w = weights[i] / 2.0 / kAzimuths; // mean over the sphere
            for (int a = 0; a < 16; ++a)
                for (int b = 0; b < 16; ++b) {
                    gramN3d[a][b] += w * n3d[a] * n3d[b];
                    gramSn3d[a][b] += w * sn3d[a] * sn3d[b];
                }
        }
    }
    for (int a = 0; a < 16; ++a)
        for (int b = 0; b < 16; ++b) {
            EXPECT_NEAR(gramN3d[a][b], a == b ? 1.0 : 0.0, 1e-12) << a << "," << b;
            const double n = acnDegree(a);
            EXPECT_NEAR(gramSn3d[a][b], a == b ? 1.0 / (2 * n + 1) : 0.0, 1e-12) << a << "," << b;
        }
}

TEST(SphericalHarmonics, FollowTheAmbixSignsAndChannelNumbering)
{
    double y[16];
    realSphericalHarmonics(ambiVectorFromAngles(0, 0), 1, AmbiNorm::kSn3d, y);
    EXPECT_NEAR(y[3], 1.0, 1e-15); // front: +X
    realSphericalHarmonics(ambiVectorFromAngles(90, 0), 1, AmbiNorm::kSn3d, y);
    EXPECT_NEAR(y[1], 1.0, 1e-15); // left: +Y
    realSphericalHarmonics(ambiVectorFromAngles(0, 90), 1, AmbiNorm::kSn3d, y);
    EXPECT_NEAR(y[2], 1.0, 1e-15); // up: +Z
    EXPECT_EQ(acnChannel(3, -3), 9);
    EXPECT_EQ(acnChannel(2, 2), 8);
    for (int c = 0; c < 16; ++c) EXPECT_EQ(acnChannel(acnDegree(c), c - acnDegree(c) * (acnDegree(c) + 1)), c);
    EXPECT_DOUBLE_EQ(n3dFromSn3d(3), std::sqrt(7.0));
}

} // namespace
