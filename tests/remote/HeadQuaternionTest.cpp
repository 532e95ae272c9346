// A tracker's quaternion read as yaw, pitch and roll: the angles must rebuild the same
// rotation through CRotation3::fromYawPitchRoll, the convention the binaural decoder turns
// the head by. The quaternions are made independently, as products of turns about axes.
#include "remote/HeadQuaternion.h"

#include "ambisonics/CShRotation.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <random>

namespace {
struct Quaternion {
    double w, x, y, z;
    Quaternion operator*(const Quaternion& o) const
    {
        return {w * o.w - x * o.x - y * o.y - z * o.z, w * o.x + x * o.w + y * o.z - z * o.y,
                w * o.y - x * o.z + y * o.w + z * o.x, w * o.z + x * o.y - y * o.x + z * o.w};
    }
};

Quaternion about(double ax, double ay, double az, double degrees)
{
    const double half = degrees * std::numbers::pi / 360.0;
    return {std::cos(half), ax * std::sin(half), ay * std::sin(half), az * std::sin(half)};
}

// The rotation of a quaternion, applied to a vector as q v q*.
AmbiVector rotate(const Quaternion& q, const AmbiVector& v)
{
    const Quaternion p = q * Quaternion{0.0, v.x, v.y, v.z} * Quaternion{q.w, -q.x, -q.y, -q.z};
    return {p.x, p.y, p.z};
}

void expectSameRotation(const Quaternion& q, const CYawPitchRoll& angles)
{
    const CRotation3 r = CRotation3::fromYawPitchRoll(angles.yaw, angles.pitch, angles.roll);
    for (const AmbiVector axis : {AmbiVector{1, 0, 0}, AmbiVector{0, 1, 0}, AmbiVector{0, 0, 1}}) {
        const AmbiVector a = rotate(q, axis);
        const AmbiVector b = r.apply(axis);
        EXPECT_NEAR(a.x, b.x, 1e-5);
        EXPECT_NEAR(a.y, b.y, 1e-5);
        EXPECT_NEAR(a.z, b.z, 1e-5);
    }
}
} // namespace

TEST(HeadQuaternion, EachAxisGivesItsOwnAngleWithTheHeadsSigns)
{
    CYawPitchRoll a;
    // Turning left about z is a positive yaw.
    ASSERT_TRUE(yawPitchRollFromQuaternion(about(0, 0, 1, 30).w, 0, 0, about(0, 0, 1, 30).z, a));
    EXPECT_NEAR(a.yaw, 30.0f, 1e-4f);
    EXPECT_NEAR(a.pitch, 0.0f, 1e-4f);
    EXPECT_NEAR(a.roll, 0.0f, 1e-4f);
    // Nose up is a turn of -pitch about y (the front goes towards +z).
    const Quaternion up = about(0, 1, 0, -20);
    ASSERT_TRUE(yawPitchRollFromQuaternion(up.w, up.x, up.y, up.z, a));
    EXPECT_NEAR(a.pitch, 20.0f, 1e-4f);
    EXPECT_NEAR(a.yaw, 0.0f, 1e-4f);
    // Left side up is a turn about the front axis x.
    const Quaternion tilt = about(1, 0, 0, 15);
    ASSERT_TRUE(yawPitchRollFromQuaternion(tilt.w, tilt.x, tilt.y, tilt.z, a));
    EXPECT_NEAR(a.roll, 15.0f, 1e-4f);
}

TEST(HeadQuaternion, AnglesRebuildTheQuaternionsRotationWhateverItsScaleAndSign)
{
    std::mt19937 random(5);
    std::uniform_real_distribution<double> turn(-180.0, 180.0);
    std::uniform_real_distribution<double> tilt(-90.0, 90.0);
    std::uniform_real_distribution<double> scale(0.01, 100.0);
    for (int i = 0; i < 500; ++i) {
        const Quaternion q = about(0, 0, 1, turn(random)) * about(0, 1, 0, -tilt(random)) * about(1, 0, 0, turn(random));
        const double s = (i % 2 ? -1.0 : 1.0) * scale(random);
        CYawPitchRoll a;
        ASSERT_TRUE(yawPitchRollFromQuaternion(s * q.w, s * q.x, s * q.y, s * q.z, a));
        EXPECT_LE(std::abs(a.yaw), 180.0f);
        EXPECT_LE(std::abs(a.pitch), 90.0f);
        EXPECT_LE(std::abs(a.roll), 180.0f);
        expectSameRotation(q, a);
    }
}

TEST(HeadQuaternion, LookingStraightUpOrDownKeepsTheRotation)
{
    for (double pitch : {90.0, -90.0}) {
        const Quaternion q = about(0, 0, 1, 40) * about(0, 1, 0, -pitch) * about(1, 0, 0, 25);
        CYawPitchRoll a;
        ASSERT_TRUE(yawPitchRollFromQuaternion(q.w, q.x, q.y, q.z, a));
        EXPECT_NEAR(std::abs(a.pitch), 90.0f, 1e-3f);
        expectSameRotation(q, a);
    }
}

TEST(HeadQuaternion, RefusesNoLengthAndValuesThatAreNotFinite)
{
    CYawPitchRoll a{1.0f, 2.0f, 3.0f};
    EXPECT_FALSE(yawPitchRollFromQuaternion(0, 0, 0, 0, a));
    EXPECT_FALSE(yawPitchRollFromQuaternion(1e-12, 0, 0, 0, a));
    EXPECT_FALSE(yawPitchRollFromQuaternion(NAN, 0, 0, 1, a));
    EXPECT_FALSE(yawPitchRollFromQuaternion(1, INFINITY, 0, 0, a));
    EXPECT_FALSE(yawPitchRollFromQuaternion(1e300, 1e300, 0, 0, a));
    EXPECT_EQ(a.yaw, 1.0f);
    EXPECT_EQ(a.pitch, 2.0f);
    EXPECT_EQ(a.roll, 3.0f);
}
