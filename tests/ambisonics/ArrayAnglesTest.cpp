// The array's angles of an AmbiX direction, checked against the capsule frame's own unit
// vectors (array/CapsuleGeometry.h) carried through the mounting.
#include "ambisonics/ModeToAmbix.h"
#include "array/CapsuleGeometry.h"

#include <gtest/gtest.h>

#include <random>

namespace {
void expectSameDirection(const AmbiVector& a, const UnitVector& b)
{
    EXPECT_NEAR(a.x, b.x, 1e-9);
    EXPECT_NEAR(a.y, b.y, 1e-9);
    EXPECT_NEAR(a.z, b.z, 1e-9);
}
} // namespace

TEST(ArrayAngles, UprightArrayReadsAzimuthAsPhiAndElevationFromItsTop)
{
    const CRotation3 upright = CRotation3::identity();
    const ArrayAngles left = arrayAnglesFromAmbix(90.0, 0.0, upright);
    EXPECT_NEAR(left.theta, 90.0, 1e-9);
    EXPECT_NEAR(left.phi, 90.0, 1e-9);
    const ArrayAngles rightUp = arrayAnglesFromAmbix(-45.0, 30.0, upright);
    EXPECT_NEAR(rightUp.theta, 60.0, 1e-9);
    EXPECT_NEAR(rightUp.phi, 315.0, 1e-9);
    EXPECT_NEAR(arrayAnglesFromAmbix(123.0, 90.0, upright).theta, 0.0, 1e-6);
    EXPECT_NEAR(arrayAnglesFromAmbix(0.0, -90.0, upright).theta, 180.0, 1e-6);
}

TEST(ArrayAngles, UpsideDownArraySwapsLeftAndRightAndUpAndDown)
{
    const CRotation3 upsideDown = CRotation3::fromYawPitchRoll(0.0, 0.0, 180.0);
    const ArrayAngles a = arrayAnglesFromAmbix(90.0, 30.0, upsideDown);
    EXPECT_NEAR(a.theta, 120.0, 1e-9);
    EXPECT_NEAR(a.phi, 270.0, 1e-9);
}

TEST(ArrayAngles, AnyMountingMapsTheArrayDirectionBackOntoTheAmbixOne)
{
    std::mt19937 random(23);
    std::uniform_real_distribution<double> turn(-180.0, 180.0);
    std::uniform_real_distribution<double> tilt(-89.0, 89.0);
    for (int i = 0; i < 200; ++i) {
        const CRotation3 mounting = CRotation3::fromYawPitchRoll(turn(random), tilt(random), turn(random));
        const double azimuth = turn(random);
        const double elevation = tilt(random);
        const ArrayAngles a = arrayAnglesFromAmbix(azimuth, elevation, mounting);
        ASSERT_GE(a.theta, 0.0);
        ASSERT_LE(a.theta, 180.0);
        ASSERT_GE(a.phi, 0.0);
        ASSERT_LT(a.phi, 360.0);
        const UnitVector inArray = unitVectorFromAngles(a.theta, a.phi);
        const AmbiVector inWorld = mounting.apply({inArray.x, inArray.y, inArray.z});
        const AmbiVector expected = ambiVectorFromAngles(azimuth, elevation);
        expectSameDirection(inWorld, {expected.x, expected.y, expected.z});
    }
}
